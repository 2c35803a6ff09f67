/* hulmprintf.c - writes the log to standard error. */
#include "hulmprintf.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

static long max_level = 2;

/* Runs when the library is loaded, before other threads can change the environment. */
__attribute__((constructor)) static void read_level(void) {
    const char *text = getenv("HULM_LEVEL");
    if (text == NULL)
        return;
    char *end;
    long level = strtol(text, &end, 10);
    if (end != text && *end == '\0')
        max_level = level;
}

void hulm_set_level(int level) { max_level = level; }

void hulmprintf(int level, int module, const char *format, ...) {
    (void)module;
    if (level > max_level)
        return;
    int saved_errno = errno;

    char small[1024];
    char *line = small;
    char *large = NULL;
    va_list args;
    va_start(args, format);
    int length = vsnprintf(small, sizeof small, format, args);
    va_end(args);
    if (length >= (int)sizeof small) {
        size_t size = (size_t)length + 1;
        large = malloc(size);
        if (large != NULL) {
            line = large;
            va_start(args, format);
            length = vsnprintf(large, size, format, args);
            va_end(args);
        } else {
            /* Memory is exhausted: write the beginning of the line. */
            length = sizeof small - 1;
            small[length - 1] = '\n';
        }
    }
    if (length > 0)
        (void)fwrite(line, 1, (size_t)length, stderr);
    free(large);
    errno = saved_errno;
}
