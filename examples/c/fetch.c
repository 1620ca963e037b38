/* Fetches a data set from the service named in the settings file and prints its dimensions and
 * first values.
 *
 *   fetch_c [NAME [SHOT [SUBSHOT]]]        (default: sample 1234 1)
 *
 * The settings file is $CLIENT_INI2, else ~/.client2.ini, else /etc/client2.ini, for example:
 *   [tserver]
 *   account=analyst
 *   passwd=secret
 *   endpoint=http://127.0.0.1:8080/
 */
#include <stdio.h>
#include <stdlib.h>

#include "anadata_c.h"

/* At most this many numbers of each column are printed. */
#define SHOWN 5

static void printNumbers(const double* numbers, int count) {
    int i;
    for (i = 0; i < count && i < SHOWN; ++i) printf(" %g", numbers[i]);
    printf("\n");
}

int main(int argc, char** argv) {
    const char* name = argc > 1 ? argv[1] : "sample";
    int shot = argc > 2 ? atoi(argv[2]) : 1234;
    int subshot = argc > 3 ? atoi(argv[3]) : 1;
    char *text, *unit, *date;
    int h, dims, vals, size, i;
    double* numbers;

    /* 3 means the service has no such data set; the reason is on standard error. */
    if (cAnaDataRetrieve(&h, name, shot, subshot) != 0) {
        fprintf(stderr, "fetch_c: %s %d/%d not fetched\n", name, shot, subshot);
        return 1;
    }

    cAnaDataGetDiagnostics(h, &text);
    cAnaDataGetShotnumber(h, &shot);
    cAnaDataGetDate(h, &date);
    printf("%s shot %d, %s\n", text, shot, date);
    cAnaDataGetDimNo(h, &dims);
    for (i = 0; i < dims; ++i) {
        cAnaDataGetDimName(h, i, &text);
        cAnaDataGetDimUnit(h, i, &unit);
        cAnaDataGetDimSize(h, i, &size);
        /* The copy needs room for the whole column. */
        numbers = malloc(sizeof(double) * (size_t)(size > 0 ? size : 1));
        if (!numbers) return 1;
        cAnaDataGetDimData(h, i, numbers);
        printf("dimension %s [%s], %d points:", text, unit, size);
        printNumbers(numbers, size);
        free(numbers);
    }

    /* Values run over the grid with the last dimension fastest; all columns have one size. */
    cAnaDataGetValnNo(h, &vals);
    cAnaDataGetValSize(h, &size);
    numbers = malloc(sizeof(double) * (size_t)(size > 0 ? size : 1));
    if (!numbers) return 1;
    for (i = 0; i < vals; ++i) {
        cAnaDataGetValName(h, i, &text);
        cAnaDataGetValUnit(h, i, &unit);
        cAnaDataGetValData(h, numbers, i); /* buffer first, then the column index */
        printf("value %s [%s]:", text, unit);
        printNumbers(numbers, size);
    }
    free(numbers);
    cAnaDataRelease(h);
    return 0;
}
