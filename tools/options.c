/* options.c - the global options, and the command line. */
#include "command.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/* clang-format off */
const struct option_row global_options[] = {
    {"user", "NAME", "ask the broker as this user (default root)", TEXT, false, 0, IN_REQUEST(user)},
    {"timeout", "SECONDS", "end after so long (default 60, and 0 when waiting; 0: no limit)", SECONDS, false, 0,
        IN_REQUEST(timeout)},
    {"options-file", "FILE", "take further options from FILE, one long option a line", TEXT, false, 0,
        IN_REQUEST(options_file)},
    {"json", NULL, "print one JSON document", FLAG, false, 0, IN_REQUEST(json)},
    {"quiet", NULL, "no progress, and no lines that report success", FLAG, false, 'q', IN_REQUEST(quiet)},
    {"verbose", NULL, "show the library's log lines", FLAG, false, 'v', IN_REQUEST(verbose)},
    {"version", NULL, "print the version", FLAG, false, 0, IN_REQUEST(version)},
    {"help", NULL, "explain the command", FLAG, false, 'h', IN_REQUEST(help)},
    {0},
};

const struct option_row wait_options[] = {
    {"wait", NULL, "wait until the job has ended", FLAG, false, 0, IN_REQUEST(wait)},
    SETTLE_OPTION,
    {0},
};

const struct option_row change_options[] = {
    {"dry-run", NULL, "print the method and its arguments instead of sending them, secrets hidden", FLAG, false, 0,
        IN_REQUEST(dry_run)},
    {0},
};

const struct option_row confirm_options[] = {
    {"yes", NULL, "do not ask whether to go on; needed where there is no terminal", FLAG, false, 0, IN_REQUEST(yes)},
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

/* ---- Values ---------------------------------------------------------------------------------------------- */

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
            if (other != option)
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
    if (option->value != NULL && *value == '\0')
        complain(request, "--%s takes no empty value", option->name);
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
            complain(request, "--%s takes a number of seconds, as 90 or 0.5", option->name);
        memcpy(buffer, &milliseconds, sizeof milliseconds);
        break;
    }
    case STATUS:
        if (request->status_count == MOST_STATUSES)
            complain(request, "--%s can be given %d times at most", option->name, MOST_STATUSES);
        else
            request->statuses[request->status_count++] = value;
        break;
    case SECRET_FILE:
    case SECRET_FD:
    case SECRET_PROMPT:
        take_secret(request, option, value);
        break;
    }
}

void check_confirmation(struct request *request) {
    if (!request->yes && !request->dry_run && !isatty(STDIN_FILENO))
        complain(request, "%s needs --yes where there is no terminal to ask on", request->command->name);
}

static void check_arguments(struct request *request) {
    const struct command *command = request->command;
    if (request->argument_count < command->least)
        complain(request, "%s needs %s", command->name, command->arguments);
    else if (command->most >= 0 && request->argument_count > command->most)
        complain(request, "%s takes %s", command->name,
                 command->most == 0 ? "no argument" : "one argument only");
    for (int i = 0; i < request->argument_count; ++i)
        if (*request->arguments[i] == '\0')
            complain(request, "%s takes no empty argument", command->name);
    if (request->complaint[0] == '\0' && command->check != NULL)
        command->check(request);
}

/* ---- Names ----------------------------------------------------------------------------------------------- */

enum { LONGEST_NAME = 31 };

/* How many characters are to be put in, left out, replaced or exchanged with the next one to make `b` of the
 * first `length` of `a`; 1 where `b` begins with them. */
static size_t distance(const char *a, size_t length, const char *b) {
    size_t steps[LONGEST_NAME + 1][LONGEST_NAME + 1];
    const size_t other = strlen(b);
    if (length > LONGEST_NAME || other > LONGEST_NAME)
        return LONGEST_NAME;
    if (strncmp(a, b, length) == 0)
        return 1;
    for (size_t i = 0; i <= length; ++i)
        for (size_t j = 0; j <= other; ++j) {
            size_t least = i + j;
            if (i > 0 && j > 0) {
                least = steps[i - 1][j - 1] + (a[i - 1] != b[j - 1]);
                least = steps[i - 1][j] + 1 < least ? steps[i - 1][j] + 1 : least;
                least = steps[i][j - 1] + 1 < least ? steps[i][j - 1] + 1 : least;
                if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1] &&
                    steps[i - 2][j - 2] + 1 < least)
                    least = steps[i - 2][j - 2] + 1;
            }
            steps[i][j] = least;
        }
    return steps[length][other];
}

/* What a wrong name may stand for. */
struct guess {
    const char *name; /* NULL: nothing is near enough */
    size_t distance;
};

static void consider(struct guess *guess, const char *word, size_t length, const char *name) {
    const size_t steps = distance(word, length, name);
    if (length > 1 && steps <= 1 + length / 5 && (guess->name == NULL || steps < guess->distance))
        *guess = (struct guess){name, steps};
}

void complain_of_command(struct request *request, const char *name) {
    struct guess guess = {0};
    for (const struct command *const *command = commands; *command != NULL; ++command)
        consider(&guess, name, strlen(name), (*command)->name);
    complain(request, "there is no command %s%s%s%s", name, guess.name ? "; did you mean " : "",
             guess.name ? guess.name : "", guess.name ? "?" : "");
}

/* The options of a command, or of all commands for NULL. */
static const struct option_row *next_row(const struct command *of, const struct command *const **command,
                                         const struct option_row *row) {
    if (of != NULL)
        return next_option(of, row);
    for (; **command != NULL; ++*command, row = NULL)
        if ((row = next_option(**command, row)) != NULL)
            return row;
    return NULL;
}

static bool is_known(const char *name, size_t length) {
    const struct command *const *all = commands;
    for (const struct option_row *row = NULL; (row = next_row(NULL, &all, row)) != NULL;)
        if (strncmp(row->name, name, length) == 0 && row->name[length] == '\0')
            return true;
    return false;
}

/* What a name that may be cut short stands for. */
struct match {
    const struct option_row *found, *another; /* NULL: none */
    const struct option_row *secret;          /* reads from a file what the name would take */
    struct guess guess;
};

/* Before the command is known several options that take a value may have the name: one of them is found, and
 * the command decides later. */
static struct match match_name(const struct command *command, const char *name, size_t length) {
    const struct command *const *all = commands;
    struct match match = {0};
    for (const struct option_row *row = NULL; (row = next_row(command, &all, row)) != NULL;) {
        const struct option_row *const found = match.found;
        consider(&match.guess, name, length, row->name);
        if (strncmp(row->name, name, length) != 0)
            continue;
        if (row->name[length] == '\0')
            return (struct match){.found = row};
        if (row->kind == SECRET_FILE && strcmp(row->name + length, "-file") == 0)
            match.secret = row;
        const bool decided = command != NULL || row->value == NULL;
        if (found != NULL && strcmp(found->name, row->name) != 0 && (decided || found->value == NULL))
            match.another = found;
        match.found = row;
    }
    return match;
}

/* A name may be cut short as long as it stands for one option. Returns the option; NULL after a complaint. */
static const struct option_row *find_row(struct request *request, const struct command *command,
                                         const char *name, size_t length) {
    const struct match match = match_name(command, name, length);
    const char *guess = match.guess.name;
    if (match.secret != NULL)
        complain(request, "no option takes a secret, which others could read: use --%s", match.secret->name);
    else if (match.another != NULL)
        complain(request, "--%.*s is short for --%s, --%s", (int)length, name, match.another->name,
                 match.found->name);
    else if (match.found != NULL)
        return match.found;
    else if (is_known(name, length))
        complain(request, "%s takes no --%.*s", command->name, (int)length, name);
    else
        complain(request, "--%.*s: no such option%s%s%s%s%s", (int)length, name,
                 command != NULL ? " of " : "", command != NULL ? command->name : "",
                 guess ? "; did you mean --" : "", guess ? guess : "", guess ? "?" : "");
    return NULL;
}

/* ---- Words ----------------------------------------------------------------------------------------------- */

/* An option that was given: on the command line, or on a line of the file with options. */
struct given {
    const char *name;
    size_t length;
    const struct option_row *option; /* NULL: there is none of that name */
    char *value;
    int line; /* 0: the command line */
};

struct given_list {
    struct given *given;
    int count;
};

/* Notes an option; a flag of all commands holds at once, since --json may come last. */
static void note_option(struct request *request, struct given_list *list, struct given given) {
    if (given.option != NULL && given.option->value == NULL && given.value != NULL)
        complain(request, "--%s takes no value", given.option->name);
    if (given.option != NULL && given.option->value != NULL && given.value == NULL)
        complain(request, "--%s needs a value: %s", given.option->name, given.option->value);
    else
        list->given[list->count++] = given;
    if (given.option != NULL && given.option->kind == FLAG && is_global(given.option))
        take_flag(request, given.option);
}

/* "name", "name=value" or, where `next` is not NULL and the option takes one, a value that follows. Returns
 * whether *next was taken. */
static bool read_long(struct request *request, struct given_list *list, char *word, char *next) {
    /* The value may be a secret that someone gave here: no message repeats it. */
    struct given given = {.name = word, .length = strcspn(word, "=")};
    given.value = word[given.length] == '=' ? word + given.length + 1 : NULL;
    given.option = find_row(request, request->command, word, given.length);
    const bool follows = given.option != NULL && given.option->value != NULL && given.value == NULL;
    if (follows)
        given.value = next;
    note_option(request, list, given);
    return follows && next != NULL;
}

static void read_letters(struct request *request, struct given_list *list, const char *letters) {
    for (; *letters != '\0'; ++letters) {
        const struct option_row *row = global_options;
        while (row->name != NULL && row->letter != *letters)
            ++row;
        if (row->name == NULL)
            complain(request, "-%c: no such option", *letters);
        else
            note_option(request, list, (struct given){row->name, strlen(row->name), row, NULL, 0});
    }
}

/* Reads to the end, even if something is wrong on the way. The first argument is the command. */
static void read_words(struct request *request, int argc, char **argv, struct given_list *list) {
    bool options = true, named = false;
    for (int i = 1; i < argc; ++i) {
        char *word = argv[i];
        if (options && strcmp(word, "--") == 0) {
            options = false;
        } else if (options && strncmp(word, "--", 2) == 0) {
            i += read_long(request, list, word + 2, argv[i + 1]);
        } else if (options && word[0] == '-' && word[1] != '\0') {
            read_letters(request, list, word + 1);
        } else if (named) {
            request->arguments[request->argument_count++] = word;
        } else {
            named = true;
            request->command = find_command(word);
            if (request->command == NULL)
                complain_of_command(request, word);
        }
    }
    if (!named && !request->help && !request->version)
        complain(request, "a command is needed");
}

/* ---- Options from a file ----------------------------------------------------------------------------- */

static bool same_value(const struct option_row *a, const struct option_row *b) {
    return a == b || (a->kind >= SECRET_FILE && b->kind >= SECRET_FILE && a->offset == b->offset);
}

/* Whether the command line, or one of the first lines of the file, has the option. */
static bool was_given(const struct given_list *list, const struct option_row *option) {
    for (int i = 0; i < list->count; ++i)
        if (list->given[i].option == option)
            return true;
    return false;
}

static bool is_replaced(const struct given_list *list, const struct option_row *option) {
    for (int i = 0; i < list->count; ++i)
        if (list->given[i].line == 0 && list->given[i].option != NULL &&
            same_value(list->given[i].option, option))
            return true;
    return false;
}

/* Adds the number of the line before a complaint; `quiet`: there was no complaint before this line. */
static void name_line(struct request *request, bool quiet, int line) {
    char complaint[sizeof request->complaint];
    if (!quiet || line == 0 || request->complaint[0] == '\0')
        return;
    memcpy(complaint, request->complaint, sizeof complaint);
    request->complaint[0] = '\0';
    complain(request, "%s:%d: %s", request->options_file, line, complaint);
}

static char *trim(char *text) {
    static const char blanks[] = " \t\r";
    text += strspn(text, blanks);
    size_t length = strlen(text);
    while (length > 0 && strchr(blanks, text[length - 1]) != NULL)
        text[--length] = '\0';
    return text;
}

/* "name=value" or "name value", with or without dashes; the value is the rest of the line. */
static void read_line(struct request *request, struct given_list *list, char *line, int number) {
    line = trim(line);
    if (*line == '\0' || *line == '#')
        return;
    const bool quiet = request->complaint[0] == '\0';
    struct given_list one = {&(struct given){0}, 0};
    line += strncmp(line, "--", 2) == 0 ? 2 : 0;
    if (*line == '-' || *line == '=') {
        complain(request, "one long option a line is expected, as name=value");
    } else {
        char *const end = line + strcspn(line, "= \t");
        char *value = *end != '\0' ? trim(end) : NULL;
        if (value != NULL && *value == '=')
            value = trim(value + 1);
        *end = '\0';
        (void)read_long(request, &one, line, value);
        if (value != NULL && one.count > 0 && one.given->value == NULL)
            complain(request, "--%s takes no value", one.given->name);
        if (one.count > 0 && one.given->option != NULL &&
            one.given->option->offset == offsetof(struct request, options_file))
            complain(request, "a file with options cannot name another");
    }
    if (one.count > 0 && one.given->option != NULL && !is_replaced(list, one.given->option)) {
        one.given->line = number;
        list->given[list->count++] = *one.given;
    }
    name_line(request, quiet, number);
}

/* The whole file, which request->options_text becomes the owner of. False with errno. */
static bool read_file(struct request *request) {
    FILE *file = fopen(request->options_file, "re");
    size_t room = 0;
    if (file == NULL)
        return false;
    const ptrdiff_t length = getdelim(&request->options_text, &room, '\0', file);
    const int error = length > 0 && request->options_text[length - 1] == '\0' ? EILSEQ : errno;
    const bool read = length > 0 ? error != EILSEQ : feof(file) != 0;
    (void)fclose(file);
    if (length <= 0) {
        free(request->options_text);
        request->options_text = NULL;
    }
    errno = error;
    return read;
}

static void read_options_file(struct request *request, struct given_list *list) {
    if (!read_file(request)) {
        complain(request, "--options-file %s: %s", request->options_file, strerror(errno));
        return;
    }
    char *line = request->options_text;
    int lines = 1;
    for (const char *end = line; end != NULL && (end = strchr(end, '\n')) != NULL; ++end)
        ++lines;
    struct given *longer = realloc(list->given, (size_t)(list->count + lines) * sizeof *longer);
    if (longer == NULL) {
        complain(request, "out of memory");
        return;
    }
    list->given = longer;
    for (int number = 1; line != NULL; ++number) {
        char *end = strchr(line, '\n');
        if (end != NULL)
            *end++ = '\0';
        read_line(request, list, line, number);
        line = end;
    }
}

/* ---- All of it --------------------------------------------------------------------------------------- */

/* Options before the command are its own, too. */
static void resolve_names(struct request *request, struct given_list *list) {
    for (struct given *given = list->given; given < list->given + list->count; ++given)
        given->option = find_row(request, request->command, given->name, given->length);
}

static void take_given(struct request *request, const struct given_list *list) {
    for (int i = 0; i < list->count; ++i) {
        const struct given given = list->given[i];
        if (given.option == NULL)
            continue;
        const bool quiet = request->complaint[0] == '\0';
        const struct given_list before = {list->given, i};
        if (given.option->value != NULL && given.option->kind != STATUS && was_given(&before, given.option))
            complain(request, "--%s can be given once only", given.option->name);
        else
            take_option(request, given.option, given.value);
        name_line(request, quiet, given.line);
    }
}

/* Takes the options once it is known whose they are. */
static void take_options(struct request *request, struct given_list *list) {
    const struct command *command = request->command;
    resolve_names(request, list);
    for (int i = 0; i < list->count && request->options_file == NULL; ++i)
        if (list->given[i].option != NULL &&
            list->given[i].option->offset == offsetof(struct request, options_file))
            request->options_file = list->given[i].value;
    if (request->options_file != NULL && !request->help && !request->version)
        read_options_file(request, list);
    take_given(request, list);
    if (request->help || request->version)
        return;
    for (const struct option_row *option = NULL; (option = next_option(command, option)) != NULL;)
        if (option->required && !was_given(list, option))
            complain(request, "%s needs --%s", command->name, option->name);
    if (request->complaint[0] == '\0')
        check_arguments(request);
    request->limited = request->timeout > 0;
    if (request->timeout < 0)
        request->timeout = request->wait || (command->flags & WAITS) ? 0 : 60000;
}

void read_command_line(struct request *request, int argc, char **argv) {
    struct given_list list = {calloc((size_t)argc + 1, sizeof *list.given), 0};
    request->arguments = calloc((size_t)argc + 1, sizeof *request->arguments);
    request->timeout = -1;
    request->settle = 60000;
    strcpy(request->image.startTime, "NOW");
    if (list.given == NULL || request->arguments == NULL) {
        free(list.given);
        complain(request, "out of memory");
        return;
    }
    read_words(request, argc, argv, &list);
    if (request->command != NULL)
        take_options(request, &list);
    free(list.given);
    if (request->complaint[0] == '\0' && (request->help || request->version)) {
        request->explained = request->command;
        request->command = &help_command;
    }
}
