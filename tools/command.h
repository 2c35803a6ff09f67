/* command.h - commands, their options, and the parsed command line. */
#ifndef XAVOCTL_COMMAND_H
#define XAVOCTL_COMMAND_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <XAVO_companion.h>

struct json_object;
struct run;

/* ---- Options --------------------------------------------------------------------------------------------- */

struct option_row {
    const char *name;  /* without the dashes; NULL ends a list */
    const char *value; /* what it takes, as help names it; NULL: a flag */
    const char *help;
    /* A STATUS option can be repeated. */
    enum { FLAG, TEXT, NUMBER, SECONDS, STATUS, SECRET_FILE, SECRET_FD, SECRET_PROMPT } kind;
    bool required;
    char letter;
    size_t offset, size; /* inside a request: a buffer of a record, or a pointer or flag if size is 0 */
};

#define IN_RECORD(member) offsetof(struct request, member), sizeof(((struct request *)NULL)->member)
#define IN_REQUEST(member) offsetof(struct request, member), 0

/* For commands that wait. */
#define SETTLE_OPTION                                                                                        \
    {                                                                                                        \
        "settle", "SECONDS",                                                                                 \
            "end the wait for a job after so long at 100% with an unknown status (default 60; 0: never)",    \
            SECONDS, false, 0, IN_REQUEST(settle)                                                            \
    }

/* The three ways to give a secret. */
#define SECRET_OPTIONS(name, what, member)                                                                   \
    {name "-file",     "FILE", "read the " what " from FILE (-: standard input)", SECRET_FILE, false, 0,     \
     IN_RECORD(member)},                                                                                     \
        {name "-fd",       "N", "read the " what " from the open descriptor N", SECRET_FD, false, 0,         \
         IN_RECORD(member)},                                                                                 \
    {                                                                                                        \
        name "-prompt", NULL, "ask for the " what " on the terminal", SECRET_PROMPT, false, 0,               \
            IN_RECORD(member)                                                                                \
    }

/* Lists of options: for every command (options.c), for commands that start jobs, for those that change
 * something, and for those that need a confirmation. */
extern const struct option_row global_options[], wait_options[], change_options[], confirm_options[];

/* ---- Requests -------------------------------------------------------------------------------------------- */

enum { MOST_SECRETS = 3, MOST_STATUSES = 16 };

/* A parsed command line. */
struct request {
    const struct command *command;
    const struct command *explained; /* the command that help describes; NULL: all of them */
    char **arguments;                /* those of the command; they end with NULL */
    int argument_count;
    bool json, quiet, verbose, wait, any, all, dry_run, yes, help, version;
    int64_t timeout; /* milliseconds; 0: none */
    int64_t settle;  /* the same */
    bool limited;    /* --timeout was given, and not 0 */
    char *user, *name, *name_space, *start, *until, *target, *uri, *options_file;
    const char *statuses[MOST_STATUSES];
    int status_count;
    char *options_text; /* of the file; options point into it */
    XAVO_BAR_INPUT_DATA image;
    XAVO_NET_INPUT_DATA share;
    struct secret {
        const struct option_row *option;
        const char *value;
    } secrets[MOST_SECRETS];
    int secret_count;
    char complaint[512]; /* what is wrong with the command line; empty: nothing */
};

/* Parses a command line. Stores the first error in request->complaint; `json` is valid even then. The caller
 * frees request->arguments and request->options_text. */
void read_command_line(struct request *request, int argc, char **argv);
/* Stores an error, unless there is one already. */
void complain(struct request *request, const char *format, ...) __attribute__((format(printf, 2, 3)));
/* Stores the error for a command that does not exist. */
void complain_of_command(struct request *request, const char *name);
/* Checks the share type and the options that it requires. Prints a warning for each option that is given but
 * not sent (methods.c). */
void check_share(struct request *request);
/* Stores an error if the command needs a confirmation and there is no terminal to ask on. */
void check_confirmation(struct request *request);
/* Converts a number of decimal digits only, without signs and blanks. Returns false on failure. */
bool read_number(const char *text, uint16_t *number);

/* ---- Commands -------------------------------------------------------------------------------------------- */

struct command {
    const char *name, *arguments, *summary, *details;
    const char *notes;    /* sections of help: a heading, and pairs of a term and its text; or NULL */
    const char *examples; /* a line each */
    int least, most;      /* how many arguments; most -1: any number */
    enum {
        WAITS = 1,      /* without --timeout there is no time limit */
        MANY_JOBS = 2,  /* its arguments are jobs, each with an outcome of its own */
        ALL_OR_NONE = 4 /* all its jobs have the same outcome */
    } flags;
    const struct option_row *options[5]; /* lists; NULL ends them */
    void (*check)(struct request *);     /* further checks of the command line, or NULL */
    void (*perform)(struct run *);       /* calls the controller; NULL: no call is needed */
    void (*print)(struct run *);         /* for people, to standard output; NULL: nothing */
    void (*to_json)(struct run *, struct json_object *document); /* adds members; NULL: those of outcomes */
};

/* Details that several commands have. */
#define TIMES "TIME is sent unchanged; many controllers take NOW or yyyymmddhhmmss."
#define PRINTS_ID "Prints the identifier of the job."

/* All commands, in the order of help (commands.c); NULL ends the list. */
extern const struct command *const commands[];
extern const struct command jobs_command, job_command, delete_command, queue_command, backup_command,
    restore_command, test_share_command, install_command, reboot_command, wait_command, software_command,
    instances_command, errors_command, doctor_command, completion_command, help_command;

/* Adds the instances of the answer. */
void instances_to_json(struct run *, struct json_object *document);

/* The command of that name, or NULL. */
const struct command *find_command(const char *name);

/* Iterates over the options of a command, first its own, then the global ones. Returns the first option if
 * `option` is NULL, and NULL after the last one. */
const struct option_row *next_option(const struct command *command, const struct option_row *option);
/* The command's option of that name, or NULL. */
const struct option_row *find_option(const struct command *command, const char *name);
bool is_global(const struct option_row *option);

#endif
