/*
 * A first tour of lncext: big numbers.
 *
 * Build and run it with
 *   cmake -S . -B build && cmake --build build --target lncext_example
 *   ./build/examples/lncext_example
 */
#include <stdio.h>
#include <string.h>

#include "lncext/lncext.h"

static void print_number(const char *label, const uint32_t *a) {
    char text[2 * 4 * LNMBIG_MAX_DIGITS + 1];
    lnmtoxstr(a, text, sizeof text);
    printf("  %-10s %s\n", label, text);
}

static void big_numbers(void) {
    /* Every big number lives in caller storage: a count word and digits. */
    uint32_t a[LNMBIG_WORDS], b[LNMBIG_WORDS], p[LNMBIG_WORDS], q[LNMBIG_WORDS];
    uint32_t r[LNMBIG_WORDS], m[LNMBIG_WORDS], e[LNMBIG_WORDS];
    static uint32_t table[LNM_POWMOD_TABLE_WORDS];
    static const uint8_t a_bytes[] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF,
                                      0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10};
    uint8_t out[16];
    unsigned int n;

    puts("Big numbers");
    lnmfrombase256(a, a_bytes, sizeof a_bytes);           /* big-endian bytes */
    lnmvalueof32(b, 2, (uint32_t)0xDEADBEEF, (uint32_t)0x0BADF00D);
    print_number("a", a);
    print_number("b", b);

    lnmmul(a, b, p);
    print_number("a * b", p);

    lnmdiv(p, a, q, r); /* divides by a: a must be writable */
    print_number("(a*b) / a", q);
    print_number("remainder", r);

    /* 2^255 - 19 and 3^(2^255 - 21) mod it: the inverse of 3 by Fermat. */
    lnmexpb2(m, 255);
    lnmsub(m, lnmconvert(r, 19));
    lnmcopy(e, m);
    lnmsub(e, LNMBIG_TWO);
    lnmpowmod(table, LNMBIG_THREE, e, m, r);
    print_number("p", m);
    print_number("3^(p-2)", r);
    lnmmul(r, LNMBIG_THREE, p);
    lnmdiv(p, m, NULL, p);
    print_number("3 * that", p);

    n = lnmtorbase256(out, sizeof out, b);
    printf("  b little-endian: %u bytes:", n);
    for (unsigned int i = 0; i < n; i++) printf(" %02x", out[i]);
    printf("\n");
}

int main(void) {
    big_numbers();
    return 0;
}
