/*
 * The library used from strict C99: every public header included, calls into
 * each family checked against known answers. Exits non-zero on a mismatch.
 */
#include <stdio.h>
#include <string.h>

#include "lncext/lncext.h"

static int failures = 0;

static void check(int ok, const char *what) {
    if (!ok) {
        printf("FAILED: %s\n", what);
        failures++;
    }
}

static void bignum(void) {
    uint32_t a[LNMBIG_WORDS], b[LNMBIG_WORDS], r[LNMBIG_WORDS];
    char text[64];

    lnmvalueof32(a, 2, (uint32_t)0x1, (uint32_t)0x2);
    check(a[0] == 2 && a[1] == 2 && a[2] == 1, "lnmvalueof32");
    lnmconvert(b, 0xFFFFFFFFu);
    lnmmul(b, b, r);
    lnmtoxstr(r, text, sizeof text);
    check(strcmp(text, "FFFFFFFE00000001") == 0, "lnmmul + lnmtoxstr");
    check(lnmcmp(LNMBIG_ONE, LNMBIG_ZERO) == 1, "lnmcmp of constants");
}

int main(void) {
    bignum();
    if (failures == 0) printf("C API: all checks passed\n");
    return failures != 0;
}
