/* xavoctl.h - what the parts of the tool share.
 *
 * The process that the user started (the parent) reads arguments and secrets, prints, keeps the deadline and
 * sees to signals. What touches the client library runs in a child of it (the worker), which may hang or
 * crash there: it sends what it learns as JSON texts over a pipe (frames). The parent puts the frames
 * together to one document, and either prints that (--json) or what it says (tell). */
#ifndef XAVOCTL_H
#define XAVOCTL_H

#include "guard/handles.h"
#include <json-c/json.h>
#include <signal.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/types.h>

enum status {
    STATUS_DONE = 0,
    STATUS_FAILED = 1,
    STATUS_USAGE = 2,
    STATUS_CONNECTION = 3,
    STATUS_NOT_FOUND = 4,
    STATUS_JOB = 5,
    STATUS_DEADLINE = 6,
    STATUS_OUTPUT = 7,
    STATUS_INTERRUPTED = 130
};

/* ---- Commands, options, and what a command line says (options.c) ----------------------------------------
 */

struct run;
struct request;

struct command {
    const char *name, *arguments, *summary, *details;
    int least, most; /* how many arguments; most -1: any number */
    enum {
        STARTS_JOB = 1, /* takes --wait */
        WAITS = 2,
        NAMES_OBJECTS = 4, /* what is not there has an exit status of its own */
        MANY_JOBS = 8,     /* its arguments are jobs, each with an outcome of its own */
        CHANGES = 16,      /* where no answer comes, the outcome is unknown */
        ALL_OR_NONE = 32   /* of the jobs: they have one outcome */
    } flags;
    const char *done;                 /* what has happened to each of its arguments in the end */
    void (*local)(struct run *);      /* answered without a broker; NULL for the others */
    void (*ask)(struct request *);    /* in the worker: asks, and sends frames */
    void (*tell)(const struct run *); /* in the parent: prints the document for people */
};

/* Where an option's value goes inside a request: a buffer of a record, or a pointer if size is 0. */
struct place {
    size_t offset, size;
};

struct option_row {
    const char *name;  /* without the dashes */
    const char *value; /* what it takes, as help names it; NULL: a flag */
    const char *help;
    unsigned commands; /* a bit for each command of the table that takes it */
    enum { FLAG, TEXT, NUMBER, SECONDS, SECRET_FILE, SECRET_FD, SECRET_PROMPT } kind;
    bool required;
    char letter;
    struct place place, in_share_test; /* the second, where it has a size, for a share test */
};

extern const struct command commands[];
extern const size_t command_count;
extern const struct option_row options[];
extern const size_t option_count;

/* The command of that name, or NULL. */
const struct command *find_command(const char *name);
/* The first option of a name that there is. */
const struct option_row *first_row(const char *name);
/* Whether a command takes an option. */
bool takes(const struct command *command, const struct option_row *option);

enum { MOST_SECRETS = 3 };

struct request {
    const struct command *command;
    char **arguments; /* those of the command; they end with NULL */
    int argument_count;
    bool json, quiet, verbose, wait, manual, help, version;
    int64_t timeout; /* milliseconds; 0: none */
    char *user, *name, *name_space, *start, *until, *target, *uri;
    XAVO_BAR_INPUT_DATA image;
    XAVO_NET_INPUT_DATA share;
    struct secret {
        const struct option_row *option;
        const char *value;
    } secrets[MOST_SECRETS];
    int secret_count;
    char complaint[512]; /* what is wrong with the command line; empty: nothing */
    /* For a worker that goes on where another ended. */
    int from;                   /* the argument to begin with */
    const char *job_id;         /* the job to follow */
    struct json_object *before; /* the jobs that had the name of the one that was started; NULL: not known */
    struct json_object *document; /* what is known so far */
};

/* Reads a command line. Whatever is wrong stands in request->complaint, the first of all; `json` is right
 * even then. request->arguments is the caller's to free. */
void read_command_line(struct request *request, int argc, char **argv);
void complain(struct request *request, const char *format, ...) __attribute__((format(printf, 2, 3)));
/* The value buffer of an option inside a request, and its size. */
char *option_buffer(struct request *request, const struct option_row *option, size_t *size);

/* ---- A run, as the parent sees it (main.c) --------------------------------------------------------------
 */

struct run {
    struct request request;
    struct json_object *document;
    struct json_object *target; /* the part of it that is spoken of: itself, or one of its results */
    int index;                  /* the argument that is spoken of */
    enum status status;
    int64_t deadline;   /* on the clock of now(); 0: none */
    int signals;        /* a signalfd for those that end the program */
    int signal;         /* the one that came; 0: none */
    sigset_t inherited; /* the mask that the program was started with */
    /* The worker. */
    pid_t worker; /* 0: none */
    int pipe;
    char *received;
    size_t received_size, received_room, taken;
    bool connected, done; /* it had a handle; it has said all */
    int unanswered;       /* how many questions in a row */
    bool unknown;         /* something may have changed, though no answer came */
    /* Progress. */
    bool away; /* no broker answered last time */
    int64_t began;
    bool bar_shown;
};

/* Milliseconds of a clock that nobody sets. */
int64_t now(void);
/* Notes a failure in an object of the document. `kind` and `words` may be NULL. */
void note_failure(struct json_object *object, XAVO_ErrorCode code, const char *kind, const char *words);

/* ---- Help (help.c) --------------------------------------------------------------------------------------
 */

void tell_help(struct run *run);
void tell_completion(struct run *run);
void tell_errors(struct run *run);

/* ---- Secrets (secrets.c) --------------------------------------------------------------------------------
 */

/* Reads what the secrets' options name into the request's records; asks on the terminal for those that the
 * command line calls for and names nowhere. What is wrong becomes a complaint. False when the deadline or a
 * signal ended it. */
bool read_secrets(struct run *run);
void wipe_secrets(struct request *request);

/* ---- The worker (worker.c) ------------------------------------------------------------------------------
 */

/* EVENT_FRAME: something to read */
enum event { EVENT_FRAME, EVENT_TICK, EVENT_END, EVENT_DEADLINE, EVENT_SIGNAL };

/* Forks a worker that runs `ask`. False: no process could be made. */
bool start_worker(struct run *run, void (*ask)(struct request *));
/* Waits for a frame (which the caller puts), for the worker's end, the deadline, a signal, or `tick`
 * milliseconds (0: for ever). */
enum event next_event(struct run *run, int64_t tick, struct json_object **frame);
/* Waits until the descriptor can be read. */
enum event wait_for_input(struct run *run, int fd, int64_t tick);
/* Ends the worker, if there is one, and forgets it. */
void end_worker(struct run *run);
/* In the worker: sends {verb: value}, and puts the value. */
void send_frame(const char *verb, struct json_object *value);

#endif
