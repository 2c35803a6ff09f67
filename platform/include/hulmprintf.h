/* hulmprintf.h - the platform's log, with levels. */
#ifndef HULMPRINTF_H
#define HULMPRINTF_H

#ifdef __cplusplus
extern "C" {
#endif

/* Logs one line, which `format` ends with "\n".
 *
 * `level` 2 is an error, 8 a trace; `module` is the number of the component that logs. The library that comes
 * with this header writes each line to standard error in one piece, so that lines of several threads do not
 * mix, and keeps errno. It drops lines above the level in the environment variable HULM_LEVEL (2 when it is
 * not set), which it reads once, when it is loaded.
 *
 * A program with a log of its own defines this function itself: libraries use the first definition that the
 * loader finds, and the program is searched first. Include this header in the source that defines the
 * function (it exports the function even with -fvisibility=hidden) and link with -rdynamic. Or put it into a
 * shared library, and link that before libxavo or name it in LD_PRELOAD. It can be called on any thread,
 * also while a handle is locked: it must not call libxavo, and it must keep errno. */
void hulmprintf(int level, int module, const char *format, ...)
    __attribute__((format(printf, 3, 4), visibility("default")));

/* Drops lines above `level` from now on; 0 drops all. Only the library that comes with this header has this
 * function: look it up with dlsym, since another platform library does not have it. Do not call it while
 * another thread logs. */
void hulm_set_level(int level) __attribute__((visibility("default")));

#ifdef __cplusplus
}
#endif

#endif
