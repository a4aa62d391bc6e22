/* Minimal checking for the C consumer tests: they include only the public header and link
 * only the shared library, as a C application does. */
#ifndef TARN_C_CHECK_H
#define TARN_C_CHECK_H
#include <stdio.h>

static int check_failures = 0;

#define CHECK_EQ(actual, expected)                                                                 \
    do {                                                                                           \
        long long check_a = (long long)(actual), check_e = (long long)(expected);                  \
        if (check_a != check_e) {                                                                  \
            fprintf(stderr, "%s:%d: %s is %lld, expected %lld\n", __FILE__, __LINE__, #actual,     \
                    check_a, check_e);                                                             \
            ++check_failures;                                                                      \
        }                                                                                          \
    } while (0)

#define CHECK(condition)                                                                           \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            fprintf(stderr, "%s:%d: %s is false\n", __FILE__, __LINE__, #condition);               \
            ++check_failures;                                                                      \
        }                                                                                          \
    } while (0)

#endif
