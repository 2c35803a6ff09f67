/* secrets.c - passwords and passphrases: read from files, descriptors or the terminal, and wiped. */
#include "xavoctl.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

enum { MOST_BYTES = 512 }; /* more than any record holds */

/* Reads to the end of the file, of the line from a terminal, or until the text is full. Returns the number of
 * bytes; -1 with errno; -2 when the deadline or a signal ended it. */
static ssize_t read_all(struct run *run, int fd, char *text, bool line) {
    size_t length = 0;
    while (length < MOST_BYTES) {
        if (wait_for_input(run, fd, 0) != EVENT_FRAME)
            return -2;
        const ssize_t count = read(fd, text + length, MOST_BYTES - length);
        if (count < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (count < 0)
            return -1;
        length += (size_t)count;
        if (count == 0 || (line && text[length - 1] == '\n'))
            break;
    }
    return (ssize_t)length;
}

/* Asks without echo, whatever standard input is. */
static ssize_t ask(struct run *run, int fd, const struct option_row *option, char *text) {
    struct termios before, silent;
    if (tcgetattr(fd, &before) != 0)
        return -1;
    silent = before;
    silent.c_lflag &= ~(tcflag_t)(ECHO | ECHOE | ECHOK | ECHONL);
    silent.c_lflag |= ICANON | ISIG;
    if (tcsetattr(fd, TCSAFLUSH, &silent) != 0)
        return -1;
    (void)dprintf(fd, "%.*s: ", (int)(strlen(option->name) - strlen("-prompt")), option->name);
    const ssize_t length = read_all(run, fd, text, true);
    (void)tcsetattr(fd, TCSAFLUSH, &before);
    (void)dprintf(fd, "\n");
    return length;
}

/* One secret. False when the deadline or a signal ended it. */
static bool read_secret(struct run *run, const struct secret *secret) {
    struct request *request = &run->request;
    const struct option_row *option = secret->option;
    char text[MOST_BYTES];
    int fd = -1;
    bool mine = true;
    if (option->kind == SECRET_PROMPT) {
        fd = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    } else if (option->kind == SECRET_FILE && strcmp(secret->value, "-") != 0) {
        fd = open(secret->value,
                  O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC); /* a pipe's writer may be late */
    } else {
        char *end = NULL;
        const long number = option->kind == SECRET_FD ? strtol(secret->value, &end, 10) : STDIN_FILENO;
        mine = false;
        fd = number < 0 || number > 1 << 20 || number == run->signals ||
                     (end != NULL && (end == secret->value || *end != '\0'))
                 ? -1
                 : (int)number;
        errno = EBADF;
    }
    ssize_t length = -1;
    if (fd >= 0)
        length = option->kind == SECRET_PROMPT ? ask(run, fd, option, text) : read_all(run, fd, text, false);
    const int error = errno;
    if (mine && fd >= 0)
        close(fd);

    size_t size;
    char *const buffer = option_buffer(request, option, &size);
    if (length > 0 && text[length - 1] == '\n')
        --length;
    if (length == -1)
        complain(request, "--%s: %s", option->name,
                 option->kind == SECRET_PROMPT ? "there is no terminal to ask on" : strerror(error));
    else if (length == 0 && option->kind != SECRET_PROMPT)
        complain(request, "--%s: there is nothing in it", option->name);
    else if (length > 0 && memchr(text, '\0', (size_t)length) != NULL)
        complain(request, "--%s: it holds a NUL byte", option->name);
    else if (length > 0 && memchr(text, '\n', (size_t)length) != NULL)
        complain(request, "--%s: it holds more than one line", option->name);
    else if (length > 0 && (size_t)length >= size)
        complain(request, "--%s takes at most %zu bytes", option->name, size - 1);
    else if (length > 0)
        memcpy(buffer, text, (size_t)length);
    explicit_bzero(text, sizeof text);
    return length != -2;
}

/* A user who is named without a password is asked for it, where there is a terminal to ask on. */
static void add_prompts(struct request *request) {
    static const char *const pairs[][2] = {{"share-user", "password-prompt"},
                                           {"proxy-user", "proxy-password-prompt"}};
    if (!isatty(STDIN_FILENO))
        return;
    for (size_t pair = 0; pair < 2; ++pair) {
        const struct option_row *rows[2] = {NULL, NULL};
        for (size_t i = 0; i < option_count; ++i)
            for (int side = 0; side < 2; ++side)
                if (strcmp(options[i].name, pairs[pair][side]) == 0)
                    rows[side] = &options[i];
        size_t size;
        if (!takes(request->command, rows[0]) || option_buffer(request, rows[0], &size)[0] == '\0')
            continue;
        bool given = false;
        for (int i = 0; i < request->secret_count; ++i)
            given |= request->secrets[i].option->place.offset == rows[1]->place.offset;
        if (!given)
            request->secrets[request->secret_count++] = (struct secret){rows[1], NULL};
    }
}

bool read_secrets(struct run *run) {
    struct request *request = &run->request;
    add_prompts(request);
    for (int i = 0; i < request->secret_count && request->complaint[0] == '\0'; ++i)
        if (!read_secret(run, &request->secrets[i]))
            return false;
    return true;
}

void wipe_secrets(struct request *request) {
    for (int i = 0; i < request->secret_count; ++i) {
        size_t size;
        char *const buffer = option_buffer(request, request->secrets[i].option, &size);
        explicit_bzero(buffer, size);
    }
}
