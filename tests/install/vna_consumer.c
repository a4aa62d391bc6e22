/* A C99 program outside the project that uses the installed companion library. */
#include <stdio.h>
#include <string.h>
#include <tarnvna.h>

int main(void) {
    if (strcmp(tarnvna_error_name(ERR_NO_RESPONSE), "ERR_NO_RESPONSE") != 0 ||
        strcmp(tarnvna_error_name(-31), "-31") != 0) {
        fprintf(stderr, "wrong error names\n");
        return 1;
    }
    printf("vna consumer ok: %s\n", tarnvna_error_hint(ERR_NO_RESPONSE));
    return 0;
}
