/* command.h - commands, their options, and what a command line says. */
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
    /* STATUS: one more of a list */
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

/* The options that every command takes (options.c), those of commands that start jobs,
 * that change something, and that are to be confirmed. */
extern const struct option_row global_options[], wait_options[], change_options[], confirm_options[];

/* ---- Requests -------------------------------------------------------------------------------------------- */

enum { MOST_SECRETS = 3, MOST_STATUSES = 16 };

/* What a command line says. */
struct request {
    const struct command *command;
    const struct command *explained; /* with --help, and for the command help; NULL: all of them */
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

/* Reads a command line. The first thing that is wrong stands in request->complaint; `json` is right even
 * then. request->arguments and request->options_text are the caller's to free. */
void read_command_line(struct request *request, int argc, char **argv);
/* Notes what is wrong, unless something was wrong before. */
void complain(struct request *request, const char *format, ...) __attribute__((format(printf, 2, 3)));
/* The same for the name of a command that does not exist. */
void complain_of_command(struct request *request, const char *name);
/* Checks the type of a share, and what it needs; prints a warning of each option that is given but not sent
 * (methods.c). */
void check_share(struct request *request);
/* Refuses a command that is to be confirmed where nobody can be asked. */
void check_confirmation(struct request *request);
/* Decimal digits alone, without signs and blanks. */
bool read_number(const char *text, uint16_t *number);

/* ---- Commands -------------------------------------------------------------------------------------------- */

struct command {
    const char *name, *arguments, *summary, *details;
    const char *notes;    /* sections of help: a heading, and pairs of a term and its text; or NULL */
    const char *examples; /* a line each */
    int least, most;      /* how many arguments; most -1: any number */
    enum {
        WAITS = 1,      /* by default for as long as it takes */
        MANY_JOBS = 2,  /* its arguments are jobs, each with an outcome of its own */
        ALL_OR_NONE = 4 /* of the jobs: they have one outcome */
    } flags;
    const struct option_row *options[5]; /* lists; NULL ends them */
    void (*check)(struct request *);     /* further checks of the command line, or NULL */
    void (*perform)(struct run *);       /* asks the controller; NULL: answered without one */
    void (*print)(struct run *);         /* for people, to standard output; NULL: nothing */
    void (*to_json)(struct run *, struct json_object *document); /* adds members; NULL: those of outcomes */
};

/* Details that several have. */
#define TIMES "TIME is sent unchanged; many controllers take NOW or yyyymmddhhmmss."
#define PRINTS_ID "Prints the identifier of the job."

/* All of them, in the order of help (commands.c); NULL ends them. */
extern const struct command *const commands[];
extern const struct command jobs_command, job_command, delete_command, queue_command, backup_command,
    restore_command, test_share_command, install_command, reboot_command, wait_command, software_command,
    instances_command, errors_command, doctor_command, completion_command, help_command;

/* Adds the instances of the answer. */
void instances_to_json(struct run *, struct json_object *document);

/* The command of that name, or NULL. */
const struct command *find_command(const char *name);

/* Walks through the options of a command, its own first, then the global ones: the first for NULL, NULL at
 * the end. */
const struct option_row *next_option(const struct command *command, const struct option_row *option);
/* The command's option of that name, or NULL. */
const struct option_row *find_option(const struct command *command, const char *name);
bool is_global(const struct option_row *option);

#endif
