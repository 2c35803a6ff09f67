/* secrets.c - passwords and passphrases: where they are read from, and that they are wiped. */
#include "xavoctl.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { MOST_BYTES = 512 }; /* more than any record holds */

/* Returns a descriptor's number; -1 if the text is no number, or the descriptor is the tool's own. */
static int descriptor_of(const struct run *run, const char *text) {
    char *end;
    const long number = strtol(text, &end, 10);
    if (end == text || *end != '\0' || number < 0 || number > 1 << 20 || number == run->signals)
        return -1;
    return (int)number;
}

/* Opens a secret's file: a name without a slash is one of the service's credentials, where it has any. A
 * pipe's writer may be late. */
static int open_file(const char *name) {
    const int flags = O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC;
    const char *const folder_name = getenv("CREDENTIALS_DIRECTORY");
    if (folder_name == NULL || strchr(name, '/') != NULL)
        return open(name, flags);
    const int folder = open(folder_name, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0)
        return -1;
    const int fd = openat(folder, name, flags);
    const int error = errno;
    close(folder);
    errno = error;
    return fd;
}

/* Where a secret is read from, -1 with errno; `mine` is whether it is to be closed again. */
static int open_secret(const struct run *run, const struct secret *secret, bool *mine) {
    const int kind = (int)secret->option->kind;
    *mine = kind == SECRET_PROMPT || (kind == SECRET_FILE && strcmp(secret->value, "-") != 0);
    if (kind == SECRET_PROMPT)
        return open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (*mine)
        return open_file(secret->value);
    errno = EBADF;
    return kind == SECRET_FD ? descriptor_of(run, secret->value) : STDIN_FILENO;
}

/* One secret. False when the deadline or a signal ended it. */
static bool read_secret(struct run *run, const struct secret *secret) {
    struct request *request = &run->request;
    const struct option_row *option = secret->option;
    static char text[MOST_BYTES]; /* not on the stack, where a test could miss what is not wiped */
    bool mine;
    const int fd = open_secret(run, secret, &mine);
    char prompt[32];
    (void)snprintf(prompt, sizeof prompt, "%.*s: ", (int)(strlen(option->name) - strlen("-prompt")),
                   option->name);
    ptrdiff_t length = -1;
    if (fd >= 0)
        length = option->kind == SECRET_PROMPT ? ask_silently(run, fd, prompt, text, sizeof text)
                                               : read_input(run, fd, text, sizeof text, false);
    const int error = errno;
    if (mine && fd >= 0)
        close(fd);
    char name[160]; /* what a complaint begins with */
    (void)snprintf(name, sizeof name, "--%s%s%.100s", option->name, secret->value != NULL ? " " : "",
                   secret->value != NULL ? secret->value : "");

    char *const buffer = (char *)request + option->offset;
    const size_t size = option->size;
    if (length > 0 && text[length - 1] == '\n')
        length -= length > 1 && text[length - 2] == '\r' ? 2 : 1;
    if (length == -1)
        complain(request, "%s: %s", name,
                 option->kind == SECRET_PROMPT ? "there is no terminal to ask on" : strerror(error));
    else if (length == 0)
        complain(request, "%s: %s", name,
                 option->kind == SECRET_PROMPT ? "nothing was typed" : "there is nothing in it");
    else if (length > 0 && memchr(text, '\0', (size_t)length) != NULL)
        complain(request, "%s: it holds a NUL byte", name);
    else if (length > 0 && memchr(text, '\n', (size_t)length) != NULL)
        complain(request, "%s: it holds more than one line", name);
    else if (length > 0 && (size_t)length >= size)
        complain(request, "--%s takes at most %zu bytes", option->name, size - 1);
    else if (length > 0)
        memcpy(buffer, text, (size_t)length);
    explicit_bzero(text, sizeof text);
    return length != -2;
}

/* Adds a prompt for the password of each user that is given without one, if there is a terminal. */
static void add_prompts(struct request *request) {
    static const char *const pairs[][2] = {{"share-user", "password-prompt"},
                                           {"proxy-user", "proxy-password-prompt"}};
    if (!isatty(STDIN_FILENO))
        return;
    for (size_t pair = 0; pair < 2; ++pair) {
        const struct option_row *const user = find_option(request->command, pairs[pair][0]);
        const struct option_row *const prompt = find_option(request->command, pairs[pair][1]);
        if (user == NULL || *((char *)request + user->offset) == '\0')
            continue;
        bool given = false;
        for (int i = 0; i < request->secret_count; ++i)
            given |= request->secrets[i].option->offset == prompt->offset;
        if (!given)
            request->secrets[request->secret_count++] = (struct secret){prompt, NULL};
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
        const struct option_row *option = request->secrets[i].option;
        explicit_bzero((char *)request + option->offset, option->size);
    }
}
