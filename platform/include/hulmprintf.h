/* hulmprintf.h - the platform's leveled log. */
#ifndef HULMPRINTF_H
#define HULMPRINTF_H

#ifdef __cplusplus
extern "C" {
#endif

/* Logs one line, which `format` ends with "\n".
 *
 * `level` 2 is an error, 8 a trace; `module` is the number of the part of the system that logs. In the
 * library that comes with this header, a line goes to standard error in one piece, so that lines of
 * several threads never mix. Lines above the level that the environment variable HULM_LEVEL gives (2 when
 * it is not set) are dropped; it is read once, when the library is loaded. errno is left as it was. */
void hulmprintf(int level, int module, const char *format, ...) __attribute__((format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

#endif
