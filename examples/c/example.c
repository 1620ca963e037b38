/* Builds a small data set through the C entry points, saves it, loads it back and prints it. */
#include <stdio.h>

#include "anadata_c.h"

static int report(int status, const char* what) {
    if (status != 0) fprintf(stderr, "%s failed with status %d\n", what, status);
    return status;
}

static void print(int h) {
    char *name, *unit, *date;
    int shot, dims, size, total, i, j;
    double coords[16], values[64];

    cAnaDataGetDiagnostics(h, &name);
    cAnaDataGetShotnumber(h, &shot);
    cAnaDataGetDate(h, &date);
    printf("%s, shot %d, %s\n", name, shot, date);
    cAnaDataGetDimNo(h, &dims);
    for (i = 0; i < dims; ++i) {
        cAnaDataGetDimName(h, i, &name);
        cAnaDataGetDimUnit(h, i, &unit);
        cAnaDataGetDimSize(h, i, &size);
        cAnaDataGetDimData(h, i, coords); /* the buffer must hold size numbers */
        printf("  dimension %s [%s]:", name, unit);
        for (j = 0; j < size; ++j) printf(" %g", coords[j]);
        printf("\n");
    }
    cAnaDataGetValSize(h, &total);
    cAnaDataGetValName(h, 0, &name);
    cAnaDataGetValUnit(h, 0, &unit);
    cAnaDataGetValData(h, values, 0); /* buffer first, then the column index */
    printf("  value %s [%s]:", name, unit);
    for (j = 0; j < total; ++j) printf(" %g", values[j]);
    printf("\n");
}

int main(void) {
    const double time[2] = {0.1, 0.2};
    const double radius[3] = {3.0, 3.5, 4.0};
    /* Row-major over the grid: the last dimension (radius) varies fastest. */
    const double te[6] = {2.1, 1.9, 1.7, 2.2, 2.0, 1.8};
    const char* path = "example_c.dat";
    int h, loaded;

    if (report(cAnaDataNew(&h, 2, 1), "cAnaDataNew")) return 1;
    cAnaDataSetDiagnostics_(h, "te");
    cAnaDataSetShotNumber(h, 1234);
    cAnaDataSetDateNow(h);
    cAnaDataSetDimData(h, 0, "Time", "s", 2, time);
    cAnaDataSetDimData(h, 1, "R", "m", 3, radius);
    cAnaDataSetValData(h, 0, "Te", "keV", 6, te);

    if (report(cAnaDataSave(h, path, 0), "cAnaDataSave")) return 1; /* 0: text, else dump */
    if (report(cAnaDataLoad(&loaded, path), "cAnaDataLoad")) return 1;
    print(loaded);

    cAnaDataRelease(h);
    cAnaDataRelease(loaded);
    remove(path);
    return 0;
}
