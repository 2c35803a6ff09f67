/* main.c - xavoctl, the services at a prompt: a run from its command line to its exit status. */
#include "ask.h"
#include "output.h"
#include "progress.h"
#include "tell.h"
#include "xavoctl.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/signalfd.h>
#include <unistd.h>

/* ---- Outcomes -------------------------------------------------------------------------------------------
 */

void note_failure(struct json_object *object, XAVO_ErrorCode code, const char *kind, const char *words) {
    json_object_object_add(object, "error", json_object_new_string(XAVO_EC_to_string(code)));
    json_object_object_add(object, "code", json_object_new_int(code));
    if (kind != NULL)
        json_object_object_add(object, "kind", json_object_new_string(kind));
    if (words != NULL)
        json_object_object_add(object, "message", json_object_new_string(words));
}

static bool says(struct json_object *object, const char *key, const char *word) {
    const char *text = text_of(object, key);
    return text != NULL && strcmp(text, word) == 0;
}

/* The exit status that an outcome stands for. */
static enum status status_of(const struct command *command, struct json_object *outcome) {
    static const struct {
        const char *key, *word;
        enum status status;
    } meanings[] = {
        {"end", "failed", STATUS_JOB},
        {"end", "gone", STATUS_JOB},
        {"kind", "wrong use", STATUS_USAGE},
        {"kind", "not there", STATUS_NOT_FOUND},
        {"kind", "deadline", STATUS_DEADLINE},
        {"kind", "interrupted", STATUS_INTERRUPTED},
        {"kind", "no broker", STATUS_CONNECTION},
        {"kind", "connection lost", STATUS_CONNECTION},
        {"kind", "outcome unknown", STATUS_CONNECTION},
    };
    if (text_of(outcome, "error") == NULL)
        return STATUS_DONE;
    for (size_t i = 0; i < sizeof meanings / sizeof *meanings; ++i)
        if (says(outcome, meanings[i].key, meanings[i].word))
            return meanings[i].status;
    return command && (command->flags & NAMES_OBJECTS) && says(outcome, "error", "NOT_FOUND")
               ? STATUS_NOT_FOUND
               : STATUS_FAILED;
}

/* ---- Frames ---------------------------------------------------------------------------------------------
 */

static struct json_object *results(const struct run *run) {
    struct json_object *array = NULL;
    json_object_object_get_ex(run->document, "results", &array);
    return array;
}

/* From now on the N-th argument is spoken of, a job: one of several results, or the document itself. */
static void begin_result(struct run *run, size_t index) {
    char **ids = run->request.arguments;
    struct json_object *target = run->document;
    if (run->request.argument_count > 1) {
        if (results(run) == NULL)
            json_object_object_add(run->document, "results", json_object_new_array());
        for (size_t i = json_object_array_length(results(run)); i <= index; ++i) {
            struct json_object *result = json_object_new_object();
            json_object_object_add(result, "job_id", json_object_new_string(ids[i]));
            json_object_array_add(results(run), result);
        }
        target = json_object_array_get_idx(results(run), index);
    } else if (text_of(target, "job_id") == NULL) {
        json_object_object_add(target, "job_id", json_object_new_string(ids[0]));
    }
    if (target != run->target) {
        end_progress(run);
        run->began = now();
    }
    run->target = target;
    run->index = (int)index;
}

/* The identifier of a job that was started is told at once: it must not be lost in what comes later. */
static void tell_id(struct run *run, const char *id) {
    run->began = now();
    if (run->request.json || (run->request.command->flags & STARTS_JOB) == 0)
        return;
    put_visible(stdout, id);
    (void)putchar('\n');
    (void)fflush(stdout);
}

static void set_members(struct run *run, struct json_object *members) {
    json_object_object_foreach(members, key, part)
        json_object_object_add(run->target, key, json_object_get(part));
    if (text_of(members, "job_id") != NULL)
        tell_id(run, text_of(members, "job_id"));
}

static void add_elements(struct run *run, struct json_object *elements) {
    json_object_object_foreach(elements, list, element) {
        struct json_object *array = NULL;
        if (json_object_object_get_ex(run->target, list, &array))
            json_object_array_add(array, json_object_get(element));
    }
}

static void take_in(struct run *run, struct json_object *frame) {
    json_object_object_foreach(frame, verb, value) {
        if (strcmp(verb, "connected") == 0) {
            run->connected = true;
        } else if (strcmp(verb, "done") == 0) {
            run->done = true;
        } else if (strcmp(verb, "begin") == 0) {
            begin_result(run, (size_t)json_object_get_int(value));
        } else if (strcmp(verb, "before") == 0) {
            json_object_put(run->request.before);
            run->request.before = json_object_get(value);
        } else if (strcmp(verb, "progress") == 0) {
            take_progress(run, value);
        } else if (strcmp(verb, "set") == 0) {
            set_members(run, value);
        } else if (strcmp(verb, "add") == 0) {
            add_elements(run, value);
        }
    }
}

/* ---- The exchange ---------------------------------------------------------------------------------------
 */

static bool is_waiting(const struct run *run) {
    const struct request *request = &run->request;
    return (request->command->flags & WAITS) || (request->wait && text_of(run->target, "job_id") != NULL);
}

static bool has_ended(struct json_object *outcome) {
    return text_of(outcome, "error") != NULL || text_of(outcome, "end") != NULL;
}

/* The argument that a worker was busy with, or a successor begins with: when they are waited for, all were
 * looked at before. */
static int place(const struct run *run) {
    if ((run->request.command->flags & WAITS) == 0 || results(run) == NULL)
        return run->index;
    int index = 0;
    while (has_ended(json_object_array_get_idx(results(run), (size_t)index)))
        ++index;
    return index;
}

/* The doctor's last finding, where its worker did not live to send it. */
static void note_check(const struct run *run, const char *message) {
    struct json_object *checks, *check;
    if (!json_object_object_get_ex(run->document, "checks", &checks))
        return;
    json_object_array_add(checks, check = json_object_new_object());
    json_object_object_add(check, "check", json_object_new_string("broker"));
    json_object_object_add(check, "ok", json_object_new_boolean(false));
    json_object_object_add(check, "finding", json_object_new_string(message));
    json_object_object_add(check, "advice",
                           json_object_new_string("Restart the broker; its own log may tell why."));
}

/* How the wait for a job has ended that was cut short. */
static void note_end(struct json_object *outcome, enum event event) {
    struct json_object *job;
    json_object_object_add(outcome, "end",
                           json_object_new_string(event == EVENT_DEADLINE ? "deadline"
                                                  : event == EVENT_SIGNAL ? "cancelled"
                                                                          : "lost"));
    if (!json_object_object_get_ex(outcome, "job", &job))
        json_object_object_add(outcome, "job", NULL);
}

static const char *kind_of_cut(enum event event, bool absent, bool unknown) {
    return event == EVENT_DEADLINE ? "deadline"
           : event == EVENT_SIGNAL ? "interrupted"
           : absent                ? "no broker"
           : unknown               ? "outcome unknown"
                                   : "connection lost";
}

/* Notes that a worker was cut short: by the deadline, a signal, or its own death. */
static void note_cut(struct run *run, enum event event) {
    static const char *const words[][2] = {
        [EVENT_DEADLINE] = {"no answer in time", "no answer in time: the outcome is unknown"},
        [EVENT_SIGNAL] = {"interrupted", "interrupted: the outcome is unknown"},
        [EVENT_END] = {"the connection was lost",
                       "the connection was lost during the call: the outcome is unknown"},
    };
    const struct request *request = &run->request;
    const bool waiting = is_waiting(run);
    run->unknown |= (request->command->flags & CHANGES) && run->connected;
    const bool unknown = run->unknown && !waiting;
    const bool absent = event == EVENT_END && !run->connected;
    const char *kind = kind_of_cut(event, absent, unknown);
    const XAVO_ErrorCode code = absent ? XAVO_UNABLE_TO_OPEN_CONNECTION : XAVO_UNKNOWN_ERROR;
    const char *message = absent                               ? "no broker answers"
                          : waiting && event == EVENT_DEADLINE ? "the job has not ended in time"
                                                               : words[event][unknown];
    const int last = (request->command->flags & MANY_JOBS) ? request->argument_count - 1 : 0;
    for (int i = place(run); i <= last; ++i) { /* those whose turn never came, too */
        if (request->command->flags & MANY_JOBS)
            begin_result(run, (size_t)i);
        if (has_ended(run->target))
            continue;
        if (waiting)
            note_end(run->target, event);
        note_failure(run->target, code, kind, message);
    }
    if (event != EVENT_SIGNAL) /* nothing was found out */
        note_check(run, message);
}

/* How long a question about a job that is waited for may go without an answer: one that was asked when the
 * broker ended never gets one. Longer each time in a row, for a broker that is only slow. */
static int64_t patience(const struct run *run) {
    const int64_t quarter = run->request.timeout / 4;
    return (quarter == 0 || quarter > 20000 ? 20000 : quarter < 5000 ? 5000 : quarter) << run->unanswered;
}

/* Runs one worker to its end: EVENT_FRAME when it said all that it had to. */
static enum event converse(struct run *run, void (*ask)(struct request *)) {
    if (!start_worker(run, ask)) {
        note_failure(run->target, XAVO_OUT_OF_MEMORY, NULL, strerror(errno));
        return EVENT_FRAME;
    }
    wipe_secrets(&run->request); /* the worker has them */
    enum event event;
    int64_t heard = now();
    do {
        struct json_object *frame = NULL;
        event = next_event(run, 1000, &frame);
        if (event == EVENT_FRAME) {
            heard = now();
            take_in(run, frame);
        } else if (event == EVENT_TICK && (is_waiting(run) || ask == ask_find)) {
            draw_progress(run);
            if (now() - heard > patience(run)) {
                run->connected = false; /* as if there were no broker: any number of times */
                run->unanswered += run->unanswered < 5;
                event = EVENT_END;
            }
        }
        json_object_put(frame);
    } while (!run->done && (event == EVENT_FRAME || event == EVENT_TICK));
    end_worker(run);
    return event;
}

/* Notes how a worker's successor finds the place where it ended. */
static void mark_place(struct run *run) {
    run->request.job_id = text_of(run->target, "job_id");
    run->request.from = place(run);
    run->request.document = run->document;
}

static void forget_failure(struct json_object *object) {
    static const char *const keys[] = {"error", "code", "kind", "message", "message_id"};
    for (size_t i = 0; i < sizeof keys / sizeof *keys; ++i)
        json_object_object_del(object, keys[i]);
}

enum { MOST_DEATHS = 5, LONG_LIFE = 60000 };

/* The whole exchange. A worker that dies, or gets no answer, while a job is waited for or looked for has a
 * successor: there are client libraries that end their process where no broker answers. */
static void exchange(struct run *run) {
    const struct request *request = &run->request;
    void (*ask)(struct request *) = request->command->ask;
    for (int deaths = 0;;) {
        const int64_t born = now();
        enum event event = converse(run, ask);
        if (now() - born > LONG_LIFE)
            deaths = 0;
        if (event == EVENT_END && (is_waiting(run) || ask == ask_find) && deaths < MOST_DEATHS) {
            deaths += run->connected;
            run->away = true;
            draw_progress(run);
            event = wait_for_input(run, -1, 1000);
            if (event == EVENT_TICK) {
                mark_place(run);
                ask = !is_waiting(run) ? ask_find : (request->command->flags & WAITS) ? ask : ask_follow;
                continue;
            }
        }
        if (event != EVENT_FRAME)
            note_cut(run, event);
        if (ask == ask_find || !says(run->document, "kind", "outcome unknown") || request->before == NULL)
            return;
        (void)fprintf(stderr, "xavoctl: the connection was lost during the call; looking for the job named ");
        put_visible(stderr, request->image.JobName);
        (void)fputc('\n', stderr);
        forget_failure(run->document);
        run->unknown = true;
        ask = ask_find;
    }
}

/* ---- From the command line to the exit status -----------------------------------------------------------
 */

/* A pipe or a file that is opened later must not become standard output. Writing to what was closed fails. */
static void keep_standard_descriptors(void) {
    for (int fd = 0; fd < 3; ++fd)
        if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDONLY) != fd)
            _exit(STATUS_OUTPUT);
}

/* The signals that end the program come as something to read, so that the terminal and the worker are seen
 * to. One that the program was started without stays ignored. */
static void catch_signals(struct run *run) {
    static const int ending[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
    sigset_t set;
    sigemptyset(&set);
    for (size_t i = 0; i < sizeof ending / sizeof *ending; ++i) {
        struct sigaction action;
        if (sigaction(ending[i], NULL, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&set, ending[i]);
    }
    sigprocmask(SIG_BLOCK, &set, &run->inherited);
    run->signals = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    /* A reader that went away and a file that may not grow are told from what write says. */
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

/* The outcome of the whole: that of the first result that failed. */
static void conclude(struct run *run) {
    struct json_object *first = run->document;
    for (size_t i = results(run) ? json_object_array_length(results(run)) : 0; i-- > 0;)
        if (text_of(json_object_array_get_idx(results(run), i), "error") != NULL)
            first = json_object_array_get_idx(results(run), i);
    run->status = status_of(run->request.command, first);
    static const char *const keys[] = {"error", "code"};
    for (size_t i = 0; first != run->document && i < 2; ++i) {
        struct json_object *value;
        if (json_object_object_get_ex(first, keys[i], &value))
            json_object_object_add(run->document, keys[i], json_object_get(value));
    }
}

/* What answers without a broker, or NULL. */
static void (*local_answer(const struct request *request))(struct run *) {
    return request->help || request->version ? tell_help : request->command ? request->command->local : NULL;
}

static void perform(struct run *run) {
    struct request *request = &run->request;
    void (*local)(struct run *) = local_answer(request);
    if (request->complaint[0] == '\0' && local != NULL)
        local(run);
    else if (request->complaint[0] == '\0' && read_secrets(run) && request->complaint[0] == '\0')
        exchange(run);
    else if (request->complaint[0] == '\0')
        note_failure(run->document, XAVO_UNKNOWN_ERROR, run->signal != 0 ? "interrupted" : "deadline",
                     run->signal != 0 ? "interrupted" : "a secret did not come in time");
    wipe_secrets(request);
    if (request->complaint[0] != '\0')
        note_failure(run->document, XAVO_INVALID_VALUE, "wrong use", request->complaint);
    end_progress(run);
}

/* Prints the outcome; false when the output could not be written. */
static bool print(struct run *run) {
    const struct command *command = run->request.command;
    bool printed = true;
    if (run->request.json)
        printed = put_document(run->document);
    else if (command != NULL && command->tell != NULL && local_answer(&run->request) == NULL)
        command->tell(run);
    printed = fflush(stdout) == 0 && !ferror(stdout) && printed;
    printed = close(STDOUT_FILENO) == 0 && printed; /* some file systems tell only then */
    if (!run->request.json || !printed)
        tell_failures(run);
    if (printed)
        return true;
    (void)fprintf(stderr, "xavoctl: the output cannot be written\n");
    if (command != NULL && (command->flags & STARTS_JOB) && text_of(run->document, "job_id") != NULL) {
        (void)fputs("The job was started: ", stderr);
        put_visible(stderr, text_of(run->document, "job_id"));
        (void)fputc('\n', stderr);
    }
    return false;
}

int main(int argc, char **argv) {
    struct run run = {.document = json_object_new_object()};
    keep_standard_descriptors();
    catch_signals(&run);
    if (run.document == NULL || run.signals < 0) {
        perror("xavoctl");
        return STATUS_FAILED;
    }
    run.target = run.request.document = run.document;
    read_command_line(&run.request, argc, argv);
    run.began = now();
    if (run.request.timeout > 0)
        run.deadline = run.began + run.request.timeout;
    perform(&run);
    conclude(&run);

    /* Nothing is left to be seen to: a signal may end the printing, too. But not the one that came, once
     * more: who ends a group of processes often sends it to each and to all. */
    sigset_t blocked = run.inherited;
    if (run.signal != 0)
        sigaddset(&blocked, run.signal);
    sigprocmask(SIG_SETMASK, &blocked, NULL);
    if (!print(&run))
        run.status = STATUS_OUTPUT;

    json_object_put(run.document);
    json_object_put(run.request.before);
    free(run.request.arguments);
    free(run.received);
    if (run.signal != 0) {
        signal(run.signal, SIG_DFL);
        sigprocmask(SIG_SETMASK, &run.inherited, NULL);
        raise(run.signal); /* a shell tells by it that the program was interrupted */
    }
    return (int)run.status;
}
