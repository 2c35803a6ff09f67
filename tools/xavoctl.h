/* xavoctl.h - a run of the tool: its calls, the waits for jobs, and signals.
 *
 * A run reads the command line (options.c) and secrets (secrets.c), performs the command, which notes
 * outcomes, and prints them (print.c), for people or as a document. Calls go to the companion, whose workers
 * may hang or crash; this process has neither libxavo nor the client library. */
#ifndef XAVOCTL_H
#define XAVOCTL_H

#include "command.h"
#include "outcome.h"

#include <signal.h>

struct run {
    struct request request;
    XAVO_Pool *pool;
    struct outcome *outcomes; /* one for each argument of a command with MANY_JOBS, else one; at least one */
    size_t outcome_count;
    XAVO_Answer answer;    /* for the command's print and to_json */
    XAVO_Request *planned; /* what a dry run would have sent */
    size_t planned_count;
    int64_t began;      /* a time of now() */
    int64_t deadline;   /* the same; 0: none */
    int signals;        /* a signalfd for the signals that end the program */
    int signal;         /* the signal that was received; 0: none */
    sigset_t inherited; /* the mask that the program was started with */
    bool bar_shown;     /* the line of the progress bar is not ended */
};

/* ---- Events (events.c) ----------------------------------------------------------------------------------- */

/* Returns the milliseconds of the monotonic clock. */
int64_t now(void);
/* Blocks the signals that end the program; wait_for_event returns them. Returns false with errno. */
bool catch_signals(struct run *run);
/* Catches or releases the signals that stop and continue the program, for the time of a prompt. */
void catch_stops(struct run *run, bool caught);
/* Stops the program as Ctrl-Z does. Returns when it is continued. */
void stop_program(void);

enum event { EVENT_INPUT, EVENT_TICK, EVENT_DEADLINE, EVENT_SIGNAL };

/* Waits until the descriptor can be read (EVENT_INPUT), for `ms` milliseconds (EVENT_TICK; -1: for ever),
 * until the time `deadline` of now() (0: none), or for a signal that ends the program, which it notes in
 * run->signal. */
enum event wait_for_event(struct run *run, int fd, int64_t ms, int64_t deadline);

/* ---- Calls (calls.c) ------------------------------------------------------------------------------------- */

/* Opens the pool. Returns false on failure, with the reason in the run's first outcome. */
bool open_pool(struct run *run);
/* Makes a call. It ends by the run's deadline, after `longest` milliseconds (0: no such limit), or at a
 * signal. Returns the answer's code; the caller frees the answer. After a signal nothing is sent. */
XAVO_ErrorCode perform_call(struct run *run, XAVO_Request request, int64_t longest, XAVO_Answer *answer);
/* The same; also stores the outcome. Returns whether the call succeeded. */
bool perform_and_note(struct run *run, XAVO_Request request, struct outcome *outcome, XAVO_Answer *answer);

/* ---- Jobs (jobs.c) --------------------------------------------------------------------------------------- */

/* Starts a job, prints its identifier at once, and waits for its end if --wait is given. `name` is the name
 * of the job, or NULL: if the outcome is unknown, a new job with this name is searched. */
void start_job(struct run *run, XAVO_Request request, const char *name);
/* Waits until the jobs of all outcomes have ended. `seen`: the jobs are known to exist. */
void wait_for_jobs(struct run *run, bool seen);
/* Stores each argument as the job identifier of its outcome. */
void name_jobs(struct run *run);
/* Lists the jobs, and makes an outcome for each with a wanted status, and one for the unreadable jobs.
 * Returns false on failure, with the reason in the first outcome. */
bool choose_jobs(struct run *run);
/* Whether an answer without the record of a job says that there is no such job: a complete listing, or the
 * broker's word. The broker's code for a job that lacks a property can be the same; it is then unreadable. */
bool is_absent(const XAVO_Answer *answer);
bool has_name(const XAVO_VELK_LifecycleJob *job, const char *name);
/* Whether the job has one of the statuses that the command line names, if it names any. */
bool has_wanted_status(const struct run *run, const XAVO_VELK_LifecycleJob *job);

/* ---- Arguments of methods (methods.c) -------------------------------------------------------------------- */

/* Stores a call of a dry run. The data of the request, except secrets, must stay valid until the plan is
 * printed. */
void plan_call(struct run *run, const XAVO_Request *request);
/* Prints methods and arguments of the calls, or adds the member "calls" to a document; secrets are hidden. */
void print_plan(const struct run *run);
void plan_to_json(const struct run *run, struct json_object *document);

/* ---- Progress of a wait, on standard error (progress.c) -------------------------------------------------- */

/* Shows a job after a change of its record, or of `kind`, the reason why the last poll had no answer: as a
 * bar on a terminal, else as a line. */
void print_progress(struct run *run, const struct outcome *outcome, int kind);
/* Redraws the bar with the present time. */
void draw_bar(struct run *run, const struct outcome *outcome, int kind);
/* Ends the line of the bar. */
void end_progress(struct run *run);

/* ---- Secrets (secrets.c) --------------------------------------------------------------------------------- */

/* Reads the secrets from the places that their options name into the records. Asks on the terminal for
 * secrets that the command line requires without naming a place. An error becomes a complaint. Returns false
 * if the deadline or a signal ended it. */
bool read_secrets(struct run *run);
void wipe_secrets(struct request *request);

/* ---- Terminal (terminal.c) ------------------------------------------------------------------------------- */

/* Reads to the end of the file, of the line from a terminal, or until the text is full. Returns the number of
 * bytes; -1 with errno; -2 when the deadline or a signal ended it. */
ptrdiff_t read_input(struct run *run, int fd, char *text, size_t size, bool line);
/* Asks on a terminal, without echo; returns as read_input. */
ptrdiff_t ask_silently(struct run *run, int fd, const char *prompt, char *text, size_t size);

/* Asks for a confirmation on the terminal, unless --yes or a dry run replaces it. Returns false if there is
 * none, with the reason in the first outcome. */
bool confirm(struct run *run, const char *question);

/* ---- Output (print.c) ------------------------------------------------------------------------------------ */

/* Prints the outcome; false when the output could not be written. */
bool print_run(struct run *run);
/* The exit status of the run: that of the first outcome that failed. */
enum status status_of_run(const struct run *run);

#endif
