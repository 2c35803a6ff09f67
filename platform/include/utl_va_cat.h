/* utl_va_cat.h - joins strings. */
#ifndef UTL_VA_CAT_H
#define UTL_VA_CAT_H

#ifdef __cplusplus
extern "C" {
#endif

/* Joins the strings from `first` to the NULL that ends the list, utl_va_cat("a", "b", (char *)0), into new
 * memory that the caller frees with free. Returns NULL when the result cannot be allocated. */
char *utl_va_cat(const char *first, ...) __attribute__((sentinel));

#ifdef __cplusplus
}
#endif

#endif
