/* utl_va_cat.h - joins strings. */
#ifndef UTL_VA_CAT_H
#define UTL_VA_CAT_H

#ifdef __cplusplus
extern "C" {
#endif

/* Returns the arguments joined in a new string, which the caller frees with free. The last argument must be a
 * null pointer: utl_va_cat("a", "b", (char *)0) returns "ab". Returns NULL if the result cannot be
 * allocated. */
char *utl_va_cat(const char *first, ...) __attribute__((sentinel));

#ifdef __cplusplus
}
#endif

#endif
