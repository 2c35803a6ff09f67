/* utl_va_cat.c - joins strings. */
#include "utl_va_cat.h"

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

char *utl_va_cat(const char *first, ...) {
    va_list args;
    size_t size = 1;
    va_start(args, first);
    for (const char *part = first; part != NULL; part = va_arg(args, const char *)) {
        size_t length = strlen(part);
        if (length > SIZE_MAX - size) {
            va_end(args);
            return NULL;
        }
        size += length;
    }
    va_end(args);

    char *joined = malloc(size);
    if (joined == NULL)
        return NULL;
    char *end = joined;
    va_start(args, first);
    for (const char *part = first; part != NULL; part = va_arg(args, const char *)) {
        size_t length = strlen(part);
        memcpy(end, part, length);
        end += length;
    }
    va_end(args);
    *end = '\0';
    return joined;
}
