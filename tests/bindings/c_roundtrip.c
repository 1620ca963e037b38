/* A C99 program that drives the cAnaData* entry points as an analysis code does; exits 1 on any failed check. */
#include <stdio.h>
#include <string.h>

#include "anadata_c.h"

/* The one C++-linkage member, reached from C through its decorated symbol. */
int _Z17cAnaDataGetValnNoiPi(int handle, int* n);

static int failures = 0;

#define CHECK(cond)                                                                   \
    do {                                                                              \
        if (!(cond)) {                                                                \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond); \
            ++failures;                                                               \
        }                                                                             \
    } while (0)

static const char* const textPath = "c_roundtrip.txt";
static const char* const dumpPath = "c_roundtrip.dump";
static const char* const junkPath = "c_roundtrip.junk";

static const double times[2] = {0.1, 0.2};
static const double radii[3] = {3.0, 3.5, 4.0};
static const double te[6] = {2.1, 1.9, 1.75, 2.2, 1.8, 1.625};
static const double ne[6] = {1e19, 2e19, 3e19, 4e19, 5e19, 6e19};

static int sameNumbers(const double* a, const double* b, int n) {
    int i;
    for (i = 0; i < n; ++i)
        if (a[i] != b[i]) return 0;
    return 1;
}

static int buildRecord(void) {
    int h = -1;
    CHECK(cAnaDataNew(&h, 2, 2) == 0);
    CHECK(cAnaDataSetDiagnostics_(h, "te   ") == 0);
    CHECK(cAnaDataSetShotNumber(h, 1234) == 0);
    CHECK(cAnaDataSetSubnumber(h, 2) == 0);
    CHECK(cAnaDataSetdate(h, "03/07/2009 14:05   ") == 0);
    CHECK(cAnaDataSetDimData(h, 0, "Time", "s", 2, times) == 0);
    CHECK(cAnaDataSetDimData(h, 1, "R", "m", 3, radii) == 0);
    CHECK(cAnaDataSetValData(h, 0, "Te", "keV", 6, te) == 0);
    CHECK(cAnaDataSetValData(h, 1, "ne", "m-3", 6, ne) == 0);
    return h;
}

/* Every getter on a record that holds what buildRecord put in. */
static void checkRecord(int h, const char* expectedComment) {
    int n = -1;
    char* text = NULL;
    double buf[6];

    CHECK(cAnaDataGetShotnumber(h, &n) == 0 && n == 1234);
    n = -1;
    CHECK(cAnaDataGetSubnumber(h, &n) == 0 && n == 1234); /* the shot number, on purpose */
    CHECK(cAnaDataGetDiagnostics(h, &text) == 0 && strcmp(text, "te") == 0);
    CHECK(cAnaDataGetDate(h, &text) == 0 && strcmp(text, "03/07/2009 14:05") == 0);
    CHECK(cAnaDataGetComment(h, &text) == 0 && strcmp(text, expectedComment) == 0);
    CHECK(cAnaDataGetDimNo(h, &n) == 0 && n == 2);
    CHECK(_Z17cAnaDataGetValnNoiPi(h, &n) == 0 && n == 2);
    CHECK(cAnaDataGetDimName(h, 1, &text) == 0 && strcmp(text, "R") == 0);
    CHECK(cAnaDataGetDimUnit(h, 0, &text) == 0 && strcmp(text, "s") == 0);
    CHECK(cAnaDataGetDimUnit2(h, "R", &text) == 0 && strcmp(text, "m") == 0);
    CHECK(cAnaDataGetValName(h, 1, &text) == 0 && strcmp(text, "ne") == 0);
    CHECK(cAnaDataGetValUnit(h, 1, &text) == 0 && strcmp(text, "m-3") == 0);
    CHECK(cAnaDataGetValUnit2(h, "Te", &text) == 0 && strcmp(text, "keV") == 0);
    CHECK(cAnaDataGetDimSize(h, 1, &n) == 0 && n == 3);
    CHECK(cAnaDataGetDimSize2(h, "Time", &n) == 0 && n == 2);
    CHECK(cAnaDataGetValSize(h, &n) == 0 && n == 6);
    CHECK(cAnaDataGetDimData(h, 1, buf) == 0 && sameNumbers(buf, radii, 3));
    CHECK(cAnaDataGetDimData2(h, "Time", buf) == 0 && sameNumbers(buf, times, 2));
    CHECK(cAnaDataGetValData(h, buf, 1) == 0 && sameNumbers(buf, ne, 6));
    CHECK(cAnaDataGetValData2(h, "Te", buf) == 0 && sameNumbers(buf, te, 6));
}

static void checkLoadFailures(void) {
    int before = -1, after = -1, h = -1;
    FILE* junk = fopen(junkPath, "w");
    CHECK(junk != NULL);
    if (junk) {
        fputs("not a record\n", junk);
        fclose(junk);
    }
    CHECK(cAnaDataNew(&before, 0, 0) == 0);
    CHECK(cAnaDataLoad(&h, junkPath) == 4 && h == -1);
    CHECK(cAnaDataLoad(&h, "c_roundtrip.missing") == 2 && h == -1);
    CHECK(cAnaDataNew(&after, 0, 0) == 0 && after == before + 1); /* failed loads take no handle */
    cAnaDataRelease(before);
    cAnaDataRelease(after);
    remove(junkPath);
}

int main(void) {
    int h = buildRecord(), fromText = -1, fromDump = -1, n = 0;

    CHECK(h == 0); /* the first handle of the process */
    checkRecord(h, "");
    /* Status codes and messages of the other refusals are the GoogleTest cases' part. */
    CHECK(cAnaDataSetdate(h, NULL) == 3);
    n = 77;
    CHECK(cAnaDataGetDimSize2(h, "time", &n) == 3 && n == 77); /* a refused getter leaves its output */
    CHECK(cAnaDataIsDigit("0123456789") && !cAnaDataIsDigit("12a") && cAnaDataIsDigit(""));

    CHECK(cAnaDataSave(h, textPath, 0) == 0);
    CHECK(cAnaDataSave(h, dumpPath, 7) == 0);
    CHECK(cAnaDataLoad(&fromText, textPath) == 0);
    CHECK(cAnaDataLoad(&fromDump, dumpPath) == 0);
    CHECK(fromText == 1 && fromDump == 2);
    /* Text files carry no sub-shot line and add an empty comment line before and after. */
    checkRecord(fromText, "\n\n");
    checkRecord(fromDump, "");

    CHECK(cAnaDataRelease(h) == 0 && cAnaDataRelease(h) == 0);
    CHECK(cAnaDataGetDimNo(h, &n) == 1);
    CHECK(cAnaDataRelease(fromText) == 0 && cAnaDataRelease(fromDump) == 0);
    checkLoadFailures();

    CHECK(cAnaDataNew(&h, 1, 1) == 0 && h == 5); /* released numbers are not handed out again */
    cAnaDataRelease(h);
    remove(textPath);
    remove(dumpPath);
    if (failures) fprintf(stderr, "%d checks failed\n", failures);
    return failures ? 1 : 0;
}
