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
 * it is not set) are dropped; it is read once, when the library is loaded. errno is left as it was.
 *
 * A program that keeps a log of its own defines this function itself: libraries take the first that the
 * loader meets, and the program comes before them. Include this header where it is defined (it makes the
 * function visible, whatever -fvisibility says) and link with -rdynamic. Or put it into a shared library and
 * link that before libxavo, or name it in LD_PRELOAD. It is called on any thread, at times with a lock of a
 * handle held: it must not call libxavo, and it leaves errno as it was. */
void hulmprintf(int level, int module, const char *format, ...)
    __attribute__((format(printf, 3, 4), visibility("default")));

/* Drops lines above `level` from now on; 0 drops all. Only the library that comes with this header has it, so
 * that a program finds it with dlsym or not at all: a log of another kind is not a program's to steer. Not
 * while another thread logs. */
void hulm_set_level(int level) __attribute__((visibility("default")));

#ifdef __cplusplus
}
#endif

#endif
