/* options.c - the global options, and the command line. */
#include "command.h"

#include <errno.h>
#include <getopt.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* clang-format off */
const struct option_row global_options[] = {
    {"user", "NAME", "ask the broker as this user (default root)", TEXT, false, 0, IN_REQUEST(user)},
    {"timeout", "SECONDS", "end after so long (default 60, and 0 when waiting; 0: no limit)", SECONDS, false, 0,
        IN_REQUEST(timeout)},
    {"json", NULL, "print one JSON document", FLAG, false, 0, IN_REQUEST(json)},
    {"quiet", NULL, "no progress, no confirmations", FLAG, false, 'q', IN_REQUEST(quiet)},
    {"verbose", NULL, "show the library's log lines", FLAG, false, 'v', IN_REQUEST(verbose)},
    {"version", NULL, "print the version", FLAG, false, 0, IN_REQUEST(version)},
    {"help", NULL, "explain the command", FLAG, false, 'h', IN_REQUEST(help)},
    {0},
};

const struct option_row wait_options[] = {
    {"wait", NULL, "wait until the job has ended", FLAG, false, 0, IN_REQUEST(wait)},
    {0},
};
/* clang-format on */

void complain(struct request *request, const char *format, ...) {
    if (request->complaint[0] != '\0')
        return;
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(request->complaint, sizeof request->complaint, format, arguments);
    va_end(arguments);
}

/* ---- Reading a command line -----------------------------------------------------------------------------
 */

/* Decimal digits alone: neither signs nor blanks, which strtoul would take. */
bool read_number(const char *text, uint16_t *number) {
    char *end;
    const unsigned long value = strtoul(text, &end, 10);
    if (text[0] < '0' || text[0] > '9' || *end != '\0' || value > UINT16_MAX)
        return false;
    *number = (uint16_t)value;
    return true;
}

static bool read_seconds(const char *text, int64_t *milliseconds) {
    if (text[0] == '\0' || text[strspn(text, "0123456789.")] != '\0')
        return false;
    char *end;
    const double seconds = strtod(text, &end);
    if (*end != '\0' || seconds > 1e9)
        return false;
    *milliseconds = (int64_t)(seconds * 1000 + 0.5);
    return seconds == 0 || *milliseconds > 0;
}

static void take_secret(struct request *request, const struct option_row *option, const char *value) {
    for (int i = 0; i < request->secret_count; ++i) {
        const struct option_row *other = request->secrets[i].option;
        if (other->offset == option->offset) {
            complain(request, "only one of --%s and --%s can be given", other->name, option->name);
            return;
        }
        if (option->kind == SECRET_FILE && other->kind == SECRET_FILE && strcmp(value, "-") == 0 &&
            strcmp(request->secrets[i].value, "-") == 0) {
            complain(request, "--%s and --%s cannot both read standard input", other->name, option->name);
            return;
        }
    }
    request->secrets[request->secret_count++] = (struct secret){option, value};
}

static void take_flag(struct request *request, const struct option_row *option) {
    char *const buffer = (char *)request + option->offset;
    if (option->size == 0)
        *(bool *)buffer = true;
    else
        memcpy(buffer, &(uint16_t){1}, sizeof(uint16_t));
}

static void take_option(struct request *request, const struct option_row *option, char *value) {
    char *const buffer = (char *)request + option->offset;
    const size_t size = option->size;
    switch (option->kind) {
    case FLAG:
        take_flag(request, option);
        break;
    case TEXT:
        if (size == 0)
            memcpy(buffer, &value, sizeof value);
        else if (strlen(value) < size)
            memcpy(buffer, value, strlen(value) + 1);
        else
            complain(request, "--%s takes at most %zu bytes, and was given %zu", option->name, size - 1,
                     strlen(value));
        break;
    case NUMBER: {
        uint16_t number = 0;
        if (!read_number(value, &number))
            complain(request, "--%s takes a number from 0 to 65535", option->name);
        memcpy(buffer, &number, sizeof number);
        break;
    }
    case SECONDS: {
        int64_t milliseconds = 0;
        if (!read_seconds(value, &milliseconds))
            complain(request, "--%s takes a number of seconds", option->name);
        memcpy(buffer, &milliseconds, sizeof milliseconds);
        break;
    }
    case SECRET_FILE:
    case SECRET_FD:
    case SECRET_PROMPT:
        take_secret(request, option, value);
        break;
    }
}

static void check_arguments(struct request *request) {
    const struct command *command = request->command;
    if (request->argument_count < command->least)
        complain(request, "%s needs %s", command->name, command->arguments);
    else if (command->most >= 0 && request->argument_count > command->most)
        complain(request, "%s takes %s", command->name,
                 command->most == 0 ? "no argument" : "one argument only");
    if (request->complaint[0] == '\0' && command->check != NULL)
        command->check(request);
}

enum { FIRST_LONG = 0x100, MOST_NAMES = 64 }; /* the first is above every letter */

/* What getopt_long knows: each name that a command's option has, once. */
struct names {
    struct option longs[MOST_NAMES + 1];
    const struct option_row *rows[MOST_NAMES]; /* the first of the name */
    char shorts[MOST_NAMES + 3];
    int count;
};

static void add_name(struct names *names, const struct option_row *row) {
    for (int i = 0; i < names->count; ++i)
        if (strcmp(names->rows[i]->name, row->name) == 0)
            return;
    if (names->count == MOST_NAMES)
        abort(); /* the table of names is too small */
    names->longs[names->count] = (struct option){row->name, row->value ? required_argument : no_argument,
                                                 NULL, FIRST_LONG + names->count};
    names->rows[names->count++] = row;
    if (row->letter != 0)
        names->shorts[strlen(names->shorts)] = row->letter;
}

static void collect_names(struct names *names) {
    /* -: arguments in their order, as option 1; ':': a missing value is told from an unknown option */
    *names = (struct names){.shorts = "-:"};
    for (const struct command *const *command = commands; *command != NULL; ++command)
        for (const struct option_row *row = NULL; (row = next_option(*command, row)) != NULL;)
            add_name(names, row);
}

/* Letters are for global options alone. */
static const struct option_row *row_of_code(const struct names *names, int code) {
    if (code >= FIRST_LONG)
        return names->rows[code - FIRST_LONG];
    const struct option_row *row = global_options;
    while (row->letter != code)
        ++row;
    return row;
}

struct given {
    const struct option_row *option;
    char *value;
};

/* Reads to the end, whatever is wrong on the way: --json may come last. Returns the number of options. */
static int read_words(struct request *request, int argc, char **argv, struct given *given) {
    struct names names;
    collect_names(&names);
    int given_count = 0, code;
    opterr = 0;
    while ((code = getopt_long(argc, argv, names.shorts, names.longs, NULL)) != -1) {
        /* An argument's value may be a secret that someone gave for one: no message repeats it. */
        const char *word = argv[optind - 1];
        if (code == 1)
            request->arguments[request->argument_count++] = optarg;
        else if (code == ':')
            complain(request, "%s needs a value", word);
        else if (code == '?' && strncmp(word, "--", 2) == 0)
            complain(request, "%.*s: no such option, or not one alone", (int)strcspn(word, "="), word);
        else if (code == '?')
            complain(request, "-%c: no such option", optopt);
        else
            given[given_count++] = (struct given){row_of_code(&names, code), optarg};
    }
    while (optind < argc)
        request->arguments[request->argument_count++] = argv[optind++];
    return given_count;
}

/* Takes the command from the arguments. */
static void take_command(struct request *request) {
    if (request->argument_count == 0) {
        if (!request->help && !request->version)
            complain(request, "a command is needed");
        return;
    }
    const char *const name = request->arguments[0];
    memmove(request->arguments, request->arguments + 1,
            (size_t)request->argument_count-- * sizeof *request->arguments);
    request->command = find_command(name);
    if (request->command == NULL)
        complain(request, "there is no command %s", name);
}

static bool was_given(const struct given *given, int given_count, const char *name) {
    for (int i = 0; i < given_count; ++i)
        if (strcmp(given[i].option->name, name) == 0)
            return true;
    return false;
}

/* Takes the options once it is known whose they are. */
static void take_options(struct request *request, const struct given *given, int given_count) {
    const struct command *command = request->command;
    for (int i = 0; i < given_count; ++i) {
        const struct option_row *option = find_option(command, given[i].option->name);
        if (option == NULL)
            complain(request, "%s takes no --%s", command->name, given[i].option->name);
        else
            take_option(request, option, given[i].value);
    }
    if (request->help || request->version)
        return;
    for (const struct option_row *option = NULL; (option = next_option(command, option)) != NULL;)
        if (option->required && !was_given(given, given_count, option->name))
            complain(request, "%s needs --%s", command->name, option->name);
    if (request->complaint[0] == '\0')
        check_arguments(request);
    if (request->timeout < 0)
        request->timeout = request->wait || (command->flags & WAITS) ? 0 : 60000;
}

void read_command_line(struct request *request, int argc, char **argv) {
    struct given *const given = calloc((size_t)argc + 1, sizeof *given);
    request->arguments = calloc((size_t)argc + 1, sizeof *request->arguments);
    request->timeout = -1;
    strcpy(request->image.startTime, "NOW");
    if (given == NULL || request->arguments == NULL) {
        free(given);
        complain(request, "out of memory");
        return;
    }
    const int given_count = read_words(request, argc, argv, given);
    for (int i = 0; i < given_count; ++i) /* those that need no command */
        if (given[i].option->kind == FLAG && is_global(given[i].option))
            take_flag(request, given[i].option);
    take_command(request);
    if (request->command != NULL)
        take_options(request, given, given_count);
    free(given);
    if (request->complaint[0] == '\0' && (request->help || request->version)) {
        request->explained = request->command;
        request->command = &help_command;
    }
}
