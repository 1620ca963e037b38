/* A C99 program that drives the server entry points against the test service (run by
 * with-service.sh: account "analyst", sample data set "sample" 1234/1, a three-column
 * experiment log). It exits with 1 after any failed check. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "anadata_c.h"

static int failures = 0;

static void expect(int got, int want, const char* what) {
    if (got != want) {
        fprintf(stderr, "FAILED %s: got %d, want %d\n", what, got, want);
        ++failures;
    }
}

static void expectText(const char* got, const char* want, const char* what) {
    if (strcmp(got, want) != 0) {
        fprintf(stderr, "FAILED %s: got \"%s\", want \"%s\"\n", what, got, want);
        ++failures;
    }
}

static int near(double got, double want) {
    double d = got - want;
    return d < 1e-12 && d > -1e-12;
}

static void sampleComesBack(void) {
    int h = -1, n = 0, size = 0;
    char* text = NULL;
    double time[5], signal[15];
    expect(cAnaDataRetrieve(&h, "sample", 1234, 1), 0, "retrieve sample");
    expect(cAnaDataGetDimNo(h, &n), 0, "dimno");
    expect(n, 2, "two dimensions");
    cAnaDataGetDimName(h, 0, &text);
    expectText(text, "time", "first dimension");
    cAnaDataGetDimUnit(h, 0, &text);
    expectText(text, "s", "its unit");
    expect(cAnaDataGetDimSize2(h, "channel", &size), 0, "channel size");
    expect(size, 3, "three channels");
    expect(cAnaDataGetDimData(h, 0, time), 0, "time data");
    expect(near(time[4], 0.004), 1, "last time");
    expect(cAnaDataGetValData2(h, "signal", signal), 0, "signal data");
    expect(near(signal[14], 0.012), 1, "last signal");
    cAnaDataRelease(h);
}

/* Failed fetches and lookups are the GoogleTest cases' part (test_c_service.cpp). */
static void failuresGiveStatusCodes(void) {
    expect(cAnaDataRegist(12345), 1, "regist unknown handle");
    expect(cAnaDataDelete("sample", 1234, 1, "analyst", "wrong"), 0, "delete with a wrong password");
}

static void registerSearchAndDelete(void) {
    const double x[2] = {1, 2};
    const double y[2] = {10, 20};
    const char* names[1] = {"cprog"};
    ResultSet_s set;
    TavolenInfo_s row;
    int h = -1, shot = 0, i, rows;

    expect(cAnaDataNew(&h, 1, 1), 0, "new");
    cAnaDataSetDiagnostics_(h, "cprog");
    cAnaDataSetSubnumber(h, 2);
    cAnaDataSetDateNow(h);
    cAnaDataSetDimData(h, 0, "x", "m", 2, x);
    cAnaDataSetValData(h, 0, "y", "V", 2, y);
    for (shot = 10; shot <= 12; ++shot) {
        cAnaDataSetShotNumber(h, shot);
        expect(cAnaDataRegist(h), 0, "regist");
    }
    cAnaDataRelease(h);

    set = cAnaDataSearch(names, 1, 11, 20, 2, "analyst", cAnaDataGetLimit());
    expect(set.type, 1, "search type");
    rows = cAnaDataGetNumRow(set);
    expect(rows, 2, "rows found");
    for (i = 0; i < rows; ++i) {
        expect(cAnaDataGetRow(set, i, &row), 1, "row read");
        expectText(row.diagnostics, "cprog", "row name");
        expect(row.shotno, 11 + i, "row shot");
        expect(row.subshotno, 2, "row sub-shot");
    }
    cAnaDataReleaseResultSet(set);

    expect(cAnaDataDelete("cprog", 11, 2, "analyst", "secret"), 1, "delete");
    set = cAnaDataSearch(names, 1, 11, 20, 2, "analyst", 100);
    expect(cAnaDataGetNumRow(set), 1, "rows after delete");
    cAnaDataReleaseResultSet(set);
}

static void experimentLog(void) {
    int n = 0;
    char* names;
    char value[256];
    expect(cExplogGetColumnNo(&n), 0, "column count"); /* the header maps it to its decorated symbol */
    expect(n, 3, "three columns");
    names = malloc(256 * (size_t)n);
    expect(cExplogGetColumnNames(names, n), 0, "column names");
    expectText(names + 256 * 2, "energy", "third column");
    free(names);
    expect(cExploGetValue(1235, "energy", value), 0, "value");
    expectText(value, "2.5", "energy of 1235");
}

int main(void) {
    char page[1024];
    sampleComesBack();
    registerSearchAndDelete();
    experimentLog();
    failuresGiveStatusCodes(); /* last: the wrong password stays in force for the process */
    expect(cAnaDataGetPage(), 1, "page from the settings");
    expect(cAnaDataGetFileName("/a/b/c.dat", page), 0, "file name");
    expectText(page, "c.dat", "file name text");
    if (failures) fprintf(stderr, "%d checks failed\n", failures);
    return failures ? 1 : 0;
}
