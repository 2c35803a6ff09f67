/* options.c - the tables of commands and options, from which the command line is read and help, manual and
 * completion are made. */
#include "ask.h"
#include "tell.h"
#include "xavoctl.h"

#include <errno.h>
#include <getopt.h>
#include <math.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

/* ---- The tables -----------------------------------------------------------------------------------------
 */

enum {
    JOBS,
    JOB,
    DELETE,
    QUEUE,
    BACKUP,
    RESTORE,
    TEST_SHARE,
    INSTALL,
    REBOOT,
    WAIT,
    INSTANCES,
    ERRORS,
    DOCTOR,
    COMPLETION,
    HELP,
    COMMANDS
};

#define TIMES "Times go to the service as they are typed; NOW starts at once."
#define PRINTS_ID "Prints the identifier of the job."

/* clang-format off */
const struct command commands[COMMANDS] = {
    [JOBS] = {"jobs", "", "list the jobs", "With --quiet their identifiers alone.",
        0, 0, 0, NULL, NULL, ask_jobs, tell_jobs},
    [JOB] = {"job", "ID", "show a job", NULL,
        1, 1, NAMES_OBJECTS, NULL, NULL, ask_job, tell_job},
    [DELETE] = {"delete", "ID...", "delete jobs", "One after the other; one that is refused does not keep the others.",
        1, -1, MANY_JOBS | CHANGES, "deleted", NULL, ask_delete, tell_results},
    [QUEUE] = {"queue", "ID...", "schedule jobs", "All of them or none. " TIMES,
        1, -1, MANY_JOBS | CHANGES | ALL_OR_NONE, "scheduled", NULL, ask_queue, tell_results},
    [BACKUP] = {"backup", "", "start a backup to a share", PRINTS_ID " " TIMES,
        0, 0, STARTS_JOB | CHANGES, NULL, NULL, ask_backup, tell_started},
    [RESTORE] = {"restore", "", "start a restore from a share", PRINTS_ID " " TIMES,
        0, 0, STARTS_JOB | CHANGES, NULL, NULL, ask_restore, tell_started},
    [TEST_SHARE] = {"test-share", "", "test whether a share can be reached", NULL,
        0, 0, 0, NULL, NULL, ask_test_share, tell_test_share},
    [INSTALL] = {"install", "", "install software", PRINTS_ID " Without --uri the controller installs what it holds.",
        0, 0, STARTS_JOB | CHANGES, NULL, NULL, ask_install, tell_started},
    [REBOOT] = {"reboot", "TYPE", "create a reboot job", PRINTS_ID " TYPE is a number from 0 to 65535, which the service judges.",
        1, 1, STARTS_JOB | CHANGES, NULL, NULL, ask_reboot, tell_started},
    [WAIT] = {"wait", "ID...", "wait for jobs to end", "One after the other, without --timeout for as long as it takes. A broker that restarts meanwhile is waited for.",
        1, -1, WAITS | NAMES_OBJECTS | MANY_JOBS, NULL, NULL, ask_wait, tell_results},
    [INSTANCES] = {"instances", "CLASS", "show all instances of a class", NULL,
        1, 1, NAMES_OBJECTS, NULL, NULL, ask_instances, tell_instances},
    [ERRORS] = {"errors", "", "list the error codes", NULL,
        0, 0, 0, NULL, tell_errors, NULL, NULL},
    [DOCTOR] = {"doctor", "", "test client library, broker and services", "Changes nothing on the controller, and says what to do where a check fails.",
        0, 0, 0, NULL, NULL, ask_doctor, tell_doctor},
    [COMPLETION] = {"completion", "bash", "print the completion for a shell", "To use it: source <(xavoctl completion bash)",
        1, 1, 0, NULL, tell_completion, NULL, NULL},
    [HELP] = {"help", "[COMMAND]", "explain a command", NULL,
        0, 1, 0, NULL, tell_help, NULL, NULL},
};
/* clang-format on */
const size_t command_count = COMMANDS;

#define BIT(command) (1U << (command))
#define IMAGE_COMMANDS (BIT(BACKUP) | BIT(RESTORE))
#define SHARE_COMMANDS (IMAGE_COMMANDS | BIT(TEST_SHARE))
#define EVERY_COMMAND (BIT(COMMANDS) - 1)

#define SIZE_OF(member) sizeof(((struct request *)NULL)->member)
#define BUFFER(member)                                                                                       \
    { offsetof(struct request, member), SIZE_OF(member) }
#define POINTER(member)                                                                                      \
    { offsetof(struct request, member), 0 }
#define IN_IMAGE(member)                                                                                     \
    BUFFER(image.member), { 0, 0 }
#define IN_BOTH(member) BUFFER(image.member), BUFFER(share.member)
#define PLAIN(member)                                                                                        \
    POINTER(member), { 0, 0 }

#define SECRET(name, what, commands, places)                                                                 \
    {                                                                                                        \
        name "-file",                                                                                        \
        "FILE",                                                                                              \
        "read the " what " from FILE (-: standard input)",                                                   \
        commands,                                                                                            \
        SECRET_FILE,                                                                                         \
        false,                                                                                               \
        0,                                                                                                   \
        places},                                                                                             \
        {name "-fd", "N",   "read the " what " from the open descriptor N", commands, SECRET_FD, false,      \
         0,          places},                                                                                \
    {                                                                                                        \
        name "-prompt", NULL, "ask for the " what " on the terminal", commands, SECRET_PROMPT, false, 0,     \
            places                                                                                           \
    }

const struct option_row options[] = {
    {"name", "N", "only jobs of this name", BIT(JOBS), TEXT, false, 0, PLAIN(name)},
    {"start", "TIME", "when the jobs start", BIT(QUEUE), TEXT, true, 0, PLAIN(start)},
    {"until", "TIME", "until when the jobs may start", BIT(QUEUE), TEXT, false, 0, PLAIN(until)},
    {"share-type", "N", "type of the share: 0, 2, 5, 6 on a server; 4 (no test) without one", SHARE_COMMANDS,
     NUMBER, true, 0, IN_BOTH(shareType)},
    {"address", "HOST", "address of the share's server", SHARE_COMMANDS, TEXT, false, 0, IN_BOTH(ipaddr)},
    {"share", "NAME", "name of the share", SHARE_COMMANDS, TEXT, false, 0, IN_BOTH(sharename)},
    {"image", "NAME", "name of the image on the share", IMAGE_COMMANDS, TEXT, false, 0, IN_IMAGE(imagename)},
    {"workgroup",
     "NAME",
     "the user's workgroup",
     BIT(TEST_SHARE),
     TEXT,
     false,
     0,
     BUFFER(share.workgroup),
     {0, 0}},
    {"share-user", "NAME", "user on the share", SHARE_COMMANDS, TEXT, false, 0, IN_BOTH(uname)},
    SECRET("password", "password of that user", SHARE_COMMANDS, IN_BOTH(passwd)),
    SECRET("passphrase", "passphrase of the image", IMAGE_COMMANDS, IN_IMAGE(passphrase)),
    {"start", "TIME", "when the job starts (default NOW)", IMAGE_COMMANDS, TEXT, false, 0,
     IN_IMAGE(startTime)},
    {"until", "TIME", "until when the job may start", IMAGE_COMMANDS, TEXT, false, 0, IN_IMAGE(untilTime)},
    {"job-name", "NAME", "name of the job", IMAGE_COMMANDS, TEXT, false, 0, IN_IMAGE(JobName)},
    {"preserve-config", NULL, "PreserveVDConfig: sent as 1, not as 0", BIT(RESTORE), FLAG, false, 0,
     IN_IMAGE(preserveVDConfig)},
    {"check-destination", "N", "CheckBackupDestinationAvailability", IMAGE_COMMANDS, NUMBER, false, 0,
     IN_IMAGE(checkBackupDestinationAvailability)},
    {"proxy-support", "N", "share types 5, 6: ProxySupport", SHARE_COMMANDS, NUMBER, false, 0,
     IN_BOTH(http.proxySupport)},
    {"proxy-type", "N", "share types 5, 6: ProxyType", SHARE_COMMANDS, NUMBER, false, 0,
     IN_BOTH(http.proxyType)},
    {"proxy-server", "HOST", "share types 5, 6: address of the proxy", SHARE_COMMANDS, TEXT, false, 0,
     IN_BOTH(http.proxyServer)},
    {"proxy-port", "N", "share types 5, 6: port of the proxy", SHARE_COMMANDS, TEXT, false, 0,
     IN_BOTH(http.proxyPort)},
    {"proxy-user", "NAME", "share types 5, 6: user of the proxy", SHARE_COMMANDS, TEXT, false, 0,
     IN_BOTH(http.proxyUname)},
    SECRET("proxy-password", "password of the proxy's user", SHARE_COMMANDS, IN_BOTH(http.proxyPasswd)),
    {"ignore-cert-warning", "N", "share types 5, 6: IgnoreCertWarning", SHARE_COMMANDS, NUMBER, false, 0,
     IN_BOTH(http.ignoreCertWarning)},
    {"target", "ID", "identifier of the software identity", BIT(INSTALL), TEXT, true, 0, PLAIN(target)},
    {"uri", "URI", "where the software is fetched from", BIT(INSTALL), TEXT, false, 0, PLAIN(uri)},
    {"namespace", "NS", "namespace of the class (default root/velk)", BIT(INSTANCES), TEXT, false, 0,
     PLAIN(name_space)},
    {"man", NULL, "print the manual page", BIT(HELP), FLAG, false, 0, PLAIN(manual)},
    {"wait", NULL, "wait until the job has ended", IMAGE_COMMANDS | BIT(INSTALL) | BIT(REBOOT), FLAG, false,
     0, PLAIN(wait)},
    {"user", "NAME", "ask the broker as this user (default root)", EVERY_COMMAND, TEXT, false, 0,
     PLAIN(user)},
    {"timeout", "SECONDS", "end after so long (default 60, and 0 when waiting; 0: no limit)", EVERY_COMMAND,
     SECONDS, false, 0, PLAIN(timeout)},
    {"json", NULL, "print one JSON document", EVERY_COMMAND, FLAG, false, 0, PLAIN(json)},
    {"quiet", NULL, "no progress, no confirmations", EVERY_COMMAND, FLAG, false, 'q', PLAIN(quiet)},
    {"verbose", NULL, "show the library's log lines", EVERY_COMMAND, FLAG, false, 'v', PLAIN(verbose)},
    {"version", NULL, "print the version", EVERY_COMMAND, FLAG, false, 0, PLAIN(version)},
    {"help", NULL, "explain the command", EVERY_COMMAND, FLAG, false, 'h', PLAIN(help)},
};
const size_t option_count = sizeof options / sizeof *options;

/* ---- Looking things up ----------------------------------------------------------------------------------
 */

const struct command *find_command(const char *name) {
    for (size_t i = 0; i < command_count; ++i)
        if (strcmp(commands[i].name, name) == 0)
            return &commands[i];
    return NULL;
}

bool takes(const struct command *command, const struct option_row *option) {
    return (option->commands >> (command - commands) & 1U) != 0;
}

void complain(struct request *request, const char *format, ...) {
    if (request->complaint[0] != '\0')
        return;
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(request->complaint, sizeof request->complaint, format, arguments);
    va_end(arguments);
}

char *option_buffer(struct request *request, const struct option_row *option, size_t *size) {
    const bool share_test = request->command == &commands[TEST_SHARE] && option->in_share_test.size != 0;
    const struct place *place = share_test ? &option->in_share_test : &option->place;
    *size = place->size;
    return (char *)request + place->offset;
}

/* ---- Reading a command line -----------------------------------------------------------------------------
 */

/* Decimal digits alone: neither signs nor blanks, which strtoul would take. */
static bool read_number(const char *text, uint16_t *number) {
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
        if (other->place.offset == option->place.offset) {
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

static void take_option(struct request *request, const struct option_row *option, char *value) {
    size_t size;
    char *const buffer = option_buffer(request, option, &size);
    switch (option->kind) {
    case FLAG:
        if (size == 0)
            *(bool *)buffer = true;
        else
            memcpy(buffer, &(uint16_t){1}, sizeof(uint16_t));
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

const struct option_row *first_row(const char *name) {
    const struct option_row *row = options;
    while (strcmp(row->name, name) != 0)
        ++row;
    return row;
}

/* Several commands can have an option of one name: this is the command's own, or NULL. */
static const struct option_row *option_of(const struct command *command, const char *name) {
    for (const struct option_row *option = options; option < options + option_count; ++option)
        if (strcmp(option->name, name) == 0 && takes(command, option))
            return option;
    return NULL;
}

static void check_arguments(struct request *request) {
    const struct command *command = request->command;
    if (request->argument_count < command->least)
        complain(request, "%s needs %s", command->name, command->arguments);
    else if (command->most >= 0 && request->argument_count > command->most)
        complain(request, "%s takes %s", command->name,
                 command->most == 0 ? "no argument" : "one argument only");
    if (request->complaint[0] != '\0')
        return;
    uint16_t number;
    if (command == &commands[REBOOT] && !read_number(request->arguments[0], &number))
        complain(request, "TYPE is a number from 0 to 65535");
    if (command == &commands[COMPLETION] && strcmp(request->arguments[0], "bash") != 0)
        complain(request, "there is a completion for bash only");
}

enum { FIRST_LONG = 0x100 }; /* above every letter */

/* What getopt_long knows: one entry a name, which stands for the first row that has it. */
static void make_tables(struct option *longs, char *shorts) {
    *shorts++ = '-'; /* arguments in their order, as option 1 */
    *shorts++ = ':'; /* a missing value is told from an unknown option */
    for (size_t i = 0; i < option_count; ++i) {
        if (first_row(options[i].name) != &options[i])
            continue;
        *longs++ = (struct option){options[i].name, options[i].value ? required_argument : no_argument, NULL,
                                   FIRST_LONG + (int)i};
        if (options[i].letter != 0)
            *shorts++ = options[i].letter;
    }
    *longs = (struct option){NULL, 0, NULL, 0};
    *shorts = '\0';
}

static const struct option_row *option_by_code(int code) {
    if (code >= FIRST_LONG)
        return &options[code - FIRST_LONG];
    for (size_t i = 0; i < option_count; ++i)
        if (options[i].letter == code)
            return &options[i];
    return NULL;
}

struct given {
    const struct option_row *option;
    char *value;
};

/* Reads to the end, whatever is wrong on the way: --json may come last. Returns the number of options. */
static int read_words(struct request *request, int argc, char **argv, struct given *given) {
    struct option longs[sizeof options / sizeof *options + 1];
    char shorts[sizeof options / sizeof *options + 3];
    make_tables(longs, shorts);
    int given_count = 0, code;
    opterr = 0;
    while ((code = getopt_long(argc, argv, shorts, longs, NULL)) != -1) {
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
            given[given_count++] = (struct given){option_by_code(code), optarg};
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

/* Takes the options once it is known whose they are. */
static void take_options(struct request *request, const struct given *given, int given_count) {
    uint64_t seen = 0;
    for (int i = 0; i < given_count; ++i) {
        const struct option_row *option = option_of(request->command, given[i].option->name);
        if (option == NULL) {
            complain(request, "%s takes no --%s", request->command->name, given[i].option->name);
            continue;
        }
        seen |= UINT64_C(1) << (option - options);
        take_option(request, option, given[i].value);
    }
    if (request->help || request->version)
        return;
    for (size_t i = 0; i < option_count; ++i)
        if (options[i].required && takes(request->command, &options[i]) && (seen >> i & 1U) == 0)
            complain(request, "%s needs --%s", request->command->name, options[i].name);
    if (request->complaint[0] == '\0')
        check_arguments(request);
    if (request->timeout < 0)
        request->timeout = request->wait || (request->command->flags & WAITS) ? 0 : 60000;
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
        if (given[i].option->kind == FLAG && given[i].option->commands == EVERY_COMMAND)
            take_option(request, given[i].option, NULL);
    take_command(request);
    if (request->command != NULL)
        take_options(request, given, given_count);
    free(given);
}
