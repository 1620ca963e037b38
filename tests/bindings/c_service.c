/* A C99 program that registers, searches, deletes and reads the experiment log through the server
 * entry points, against the test service of with-service.sh (three-column log); status and
 * message rules are the GoogleTest cases' part. It exits with 1 after any failed check. */
#include <stdio.h>
#include <string.h>

#include "anadata_c.h"

static int failures = 0;

static void expect(int ok, const char* what) {
    if (!ok) {
        fprintf(stderr, "FAILED %s\n", what);
        ++failures;
    }
}

int main(void) {
    const double x[2] = {1, 2}, y[2] = {10, 20};
    const char* names[1] = {"cprog"};
    char names256[3 * 256];
    ResultSet_s set;
    TavolenInfo_s row;
    int h = -1, shot, n = 0;

    expect(cAnaDataNew(&h, 1, 1) == 0, "new");
    cAnaDataSetDiagnostics_(h, "cprog");
    cAnaDataSetSubnumber(h, 2);
    cAnaDataSetDateNow(h);
    cAnaDataSetDimData(h, 0, "x", "m", 2, x);
    cAnaDataSetValData(h, 0, "y", "V", 2, y);
    for (shot = 10; shot <= 12; ++shot) {
        cAnaDataSetShotNumber(h, shot);
        expect(cAnaDataRegist(h) == 0, "regist");
    }
    cAnaDataRelease(h);

    set = cAnaDataSearch(names, 1, 11, 20, 2, "analyst", cAnaDataGetLimit());
    expect(set.type == 1 && cAnaDataGetNumRow(set) == 2, "two rows");
    expect(cAnaDataGetRow(set, 1, &row) == 1 && strcmp(row.diagnostics, "cprog") == 0 && row.shotno == 12 &&
               row.subshotno == 2,
           "second row");
    cAnaDataReleaseResultSet(set);
    expect(cAnaDataDelete("cprog", 11, 2, "analyst", "secret") == 1, "delete");

    expect(cExplogGetColumnNo(&n) == 0 && n == 3, "column count"); /* the header maps it to its decorated symbol */
    expect(cExplogGetColumnNames(names256, n) == 0 && strcmp(names256 + 2 * 256, "energy") == 0, "column names");
    expect(cAnaDataGetPage() == 1, "page from the settings");
    if (failures) fprintf(stderr, "%d checks failed\n", failures);
    return failures ? 1 : 0;
}
