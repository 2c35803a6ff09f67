/* hulmprintf.h - writes to the platform's log. */
#ifndef HULMPRINTF_H
#define HULMPRINTF_H

#ifdef __cplusplus
extern "C" {
#endif

/* Logs one line. `level` is 2 for an error and 8 for a trace. `module` is the number of the component that
 * logs. `format` is a format of printf that ends with "\n".
 *
 * libxavo_platform, the library that comes with this header, writes each line to standard error in one piece,
 * so that the lines of several threads do not mix. It does not change errno. When it is loaded, it reads the
 * highest level that it writes from the environment variable HULM_LEVEL; without a number there, this level
 * is 2.
 *
 * A program can have its own definition of this function, in one of two ways. In the program: the source file
 * with the definition includes this header, which exports the function even with -fvisibility=hidden, and the
 * program is linked with -rdynamic. In a shared library: link it before libxavo, or name it in LD_PRELOAD.
 * libxavo then calls this definition, because the loader finds it first.
 *
 * libxavo calls the function on any thread, also while a handle is locked. A definition of it must not call
 * libxavo and must not change errno. */
void hulmprintf(int level, int module, const char *format, ...)
    __attribute__((format(printf, 3, 4), visibility("default")));

/* Sets the highest level that is written; 0 writes no line. Do not call it while another thread logs. Another
 * platform library does not have this function: look it up with dlsym. */
void hulm_set_level(int level) __attribute__((visibility("default")));

#ifdef __cplusplus
}
#endif

#endif
