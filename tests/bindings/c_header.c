/* Holds the header to C99: every server entry point and result struct compiles and links from a
 * C program, the C++-linkage members included (the header maps them to their decorated symbols).
 * What the calls do is the GoogleTest cases' part; this program runs only offline ones. */
#include <stdio.h>

#include "anadata_c.h"

typedef void (*Entry)(void);

int main(void) {
    const Entry entries[] = {(Entry)cAnaDataRetrieve, (Entry)cAnaDataRegist, (Entry)cAnaDataRegistFile,
                             (Entry)cAnaDataGet, (Entry)cAnaDataDelete, (Entry)cAnaDataSearch,
                             (Entry)cAnaDataGetNumEntry, (Entry)cAnaDataGetDiagEntry, (Entry)cAnaDataGetRow,
                             (Entry)cAnaDataReleaseResultSet, (Entry)cExploGetValue, (Entry)cExplogGetColumnNames,
                             (Entry)cExplogGetColumnNo, (Entry)cAnaDataGetSummary, (Entry)cAnaDataDispSummary};
    const ResultSet_s empty = {0, NULL};
    TavolenInfo_s row;
    NumEntry_s count;
    DiagEntry_s entry;
    int h = -1, n = -1;
    row.shotno = count.no = entry.sum = 0;
    if (cAnaDataGetNumRow(empty) != -1 || cAnaDataGetRow(empty, 0, &row) != 0 || cAnaDataNew(&h, 1, 1) != 0 ||
        cAnaDataGetValnNo(h, &n) != 0 || n != 1) {
        fprintf(stderr, "c_header: the entry points do not answer as declared\n");
        return 1;
    }
    cAnaDataRelease(h);
    return entries[0] != NULL && count.no + entry.sum == 0 ? 0 : 1;
}
