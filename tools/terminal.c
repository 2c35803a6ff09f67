/* terminal.c - what is typed on the terminal, and other input. */
#include "xavoctl.h"

#include <errno.h>
#include <termios.h>
#include <unistd.h>

ptrdiff_t read_input(struct run *run, int fd, char *text, size_t size, bool line) {
    size_t length = 0;
    while (length < size) {
        if (wait_for_event(run, fd, -1, run->deadline) != EVENT_INPUT)
            return -2;
        const ssize_t count = read(fd, text + length, size - length);
        if (count < 0 && errno == EAGAIN)
            continue;
        if (count < 0)
            return -1;
        length += (size_t)count;
        if (count == 0 || (line && text[length - 1] == '\n'))
            break;
    }
    return (ptrdiff_t)length;
}

/* Whether what ended the input only stops the program for a while, or let it go on. Stops it until then. */
static bool was_stopped(struct run *run) {
    const int signal = run->signal;
    if (signal != SIGTSTP && signal != SIGCONT)
        return false;
    run->signal = 0;
    if (signal == SIGTSTP)
        stop_program();
    return true;
}

ptrdiff_t ask_silently(struct run *run, int fd, const char *prompt, char *text, size_t size) {
    struct termios before, silent;
    ptrdiff_t length;
    if (tcgetattr(fd, &before) != 0)
        return -1;
    silent = before;
    silent.c_lflag &= ~(tcflag_t)(ECHO | ECHOE | ECHOK | ECHONL);
    silent.c_lflag |= ICANON | ISIG;
    catch_stops(run, true);
    do {
        length = -1;
        if (tcsetattr(fd, TCSAFLUSH, &silent) == 0) {
            (void)dprintf(fd, "%s", prompt);
            length = read_input(run, fd, text, size, true);
        }
        (void)tcsetattr(fd, TCSAFLUSH, &before);
        (void)dprintf(fd, "\n");
    } while (length == -2 && was_stopped(run));
    catch_stops(run, false);
    return length;
}

bool confirm(struct run *run, const char *question) {
    char answer[16];
    if (run->request.yes || run->request.dry_run)
        return true;
    const int64_t asked = now();
    (void)fprintf(stderr, "%s [y/N] ", question);
    (void)fflush(stderr);
    const ptrdiff_t length = read_input(run, STDIN_FILENO, answer, sizeof answer, true);
    if (run->deadline != 0)
        run->deadline += now() - asked;
    if (length > 0 && (answer[0] == 'y' || answer[0] == 'Y'))
        return true;
    fail(run->outcomes, run->signal != 0 ? XAVO_KIND_CANCELLED : KIND_NOT_CONFIRMED, NULL);
    return false;
}
