/* jobs.c - jobs that are started, looked for and waited for.
 *
 * The companion's waiting functions block; here a signal ends a wait at once and a bar is redrawn meanwhile,
 * so the polls are calls of their own. */
#include "output/output.h"
#include "xavoctl.h"

#include <stdlib.h>
#include <string.h>
#include <strings.h>

enum { FIRST_PAUSE = 200, LONGEST_PAUSE = 2000, ANSWER_TIMEOUT = 5000, LONGEST_ANSWER_TIMEOUT = 160000 };
enum { SEARCH_TIME = 3000 };

bool has_name(const XAVO_VELK_LifecycleJob *job, const char *name) {
    return job->Name != NULL && strcmp(job->Name, name) == 0;
}

bool has_wanted_status(const struct run *run, const XAVO_VELK_LifecycleJob *job) {
    const struct request *request = &run->request;
    bool wanted = request->status_count == 0;
    for (int i = 0; i < request->status_count && job->JobStatus != NULL; ++i)
        wanted |= strcasecmp(request->statuses[i], job->JobStatus) == 0;
    return wanted;
}

bool is_absent(const XAVO_Answer *answer) {
    return answer->effect == XAVO_EFFECT_ANSWERED && answer->unreadable == 0 &&
           (answer->code == XAVO_NOT_FOUND || answer->code == XAVO_NO_ERROR);
}

bool choose_jobs(struct run *run) {
    const XAVO_Request request = {.operation = XAVO_OP_LIST_JOBS};
    if (!perform_and_note(run, request, run->outcomes, &run->answer))
        return false;
    struct outcome *chosen = allocate(run->answer.job_count + 1, sizeof *chosen);
    if (chosen == NULL) {
        fail(run->outcomes, XAVO_KIND_NOTHING_ASKED, "out of memory");
        return false;
    }
    size_t count = 0;
    for (const XAVO_VELK_LifecycleJob *job = run->answer.jobs; job != NULL; job = job->next) {
        const bool wanted = has_wanted_status(run, job);
        if (wanted && job->InstanceID != NULL) {
            chosen[count++].job_id = copy_text(job->InstanceID);
        } else if (wanted) { /* no call can name it */
            ++run->answer.unreadable;
            --run->answer.job_count;
        }
    }
    if (run->answer.unreadable > 0)
        fail_unreadable(&chosen[count++], &run->answer);
    free_outcome(run->outcomes);
    free(run->outcomes);
    run->outcomes = chosen;
    run->outcome_count = count > 0 ? count : 1;
    return true;
}

void name_jobs(struct run *run) {
    for (size_t i = 0; i < run->outcome_count; ++i)
        run->outcomes[i].job_id = copy_text(run->request.arguments[i]);
}

/* ---- Waiting ----------------------------------------------------------------------------------------- */

static void end_wait(struct outcome *outcome, int end, int kind, const char *message) {
    outcome->waited = true;
    outcome->end = end;
    if (kind != XAVO_KIND_NONE)
        fail(outcome, kind, message);
}

/* A wait for several jobs. */
struct wait {
    struct run *run;
    struct follow {
        bool seen;      /* it was there before */
        int64_t at_end; /* since when it stands at 100% with an unknown status; 0: it does not */
    } * follows;        /* one for each job */
    size_t polls;
    bool reached;    /* a broker answered */
    int kind;        /* why the last poll brought no answer, or XAVO_KIND_NONE */
    bool crashed;    /* the latest poll that the deadline did not end: the client library crashed */
    int64_t timeout; /* of the next poll; a poll that was sent when the broker ended gets no answer */
};

static const XAVO_VELK_LifecycleJob *find_job(const XAVO_VELK_LifecycleJob *jobs, const char *id) {
    while (jobs != NULL && (jobs->InstanceID == NULL || id == NULL || strcmp(jobs->InstanceID, id) != 0))
        jobs = jobs->next;
    return jobs;
}

static bool same_text(const char *a, const char *b) { return a && b ? strcmp(a, b) == 0 : a == b; }

static bool differ(const XAVO_VELK_LifecycleJob *a, const XAVO_VELK_LifecycleJob *b) {
#define ROW(name) || !same_text(a->name, b->name)
    return a == NULL || b == NULL XAVO_JOB_PROPERTIES(ROW);
#undef ROW
}

/* Whether a job stands at 100% with a status that is none of those known. */
static bool is_unclear(const XAVO_VELK_LifecycleJob *job) {
    static const char *const known[] = {"New", "Scheduled", "Running", NULL};
    const char *const *status = known;
    while (*status != NULL && job->JobStatus != NULL && strcasecmp(*status, job->JobStatus) != 0)
        ++status;
    return *status == NULL && job->PercentComplete != NULL && strcmp(job->PercentComplete, "100") == 0;
}

/* Ends the wait for a job that has ended. A job at 100% with an unknown status may still change for the time
 * of --settle; then its wait ends, too. */
static void judge(struct wait *wait, size_t index, const XAVO_VELK_LifecycleJob *job) {
    struct outcome *outcome = &wait->run->outcomes[index];
    struct follow *follow = &wait->follows[index];
    const int64_t settle = wait->run->request.settle;
    const char *status = job->JobStatus != NULL ? job->JobStatus : "";
    if (strcasecmp(status, "Completed") == 0) {
        end_wait(outcome, XAVO_WAIT_COMPLETED, XAVO_KIND_NONE, NULL);
    } else if (strcasecmp(status, "Failed") == 0) {
        end_wait(outcome, XAVO_WAIT_FAILED, KIND_JOB_FAILED, job->Message);
        outcome->message_id = copy_text(job->MessageID);
    } else if (!is_unclear(job)) {
        follow->at_end = 0;
    } else if (follow->at_end == 0) {
        follow->at_end = now();
    } else if (settle > 0 && now() - follow->at_end >= settle) {
        end_wait(outcome, END_UNCLEAR, KIND_JOB_UNCLEAR, NULL);
    }
}

static bool is_pending(const struct outcome *outcome) {
    return !outcome->waited && outcome->kind == XAVO_KIND_NONE;
}

/* The first job that has not ended, or NULL. */
static struct outcome *first_pending(struct run *run) {
    for (size_t i = 0; i < run->outcome_count; ++i)
        if (is_pending(&run->outcomes[i]))
            return &run->outcomes[i];
    return NULL;
}

/* Takes what a poll brought for one job. */
static void take_poll(struct wait *wait, size_t index, const XAVO_Answer *answer, bool news) {
    struct run *run = wait->run;
    struct outcome *outcome = &run->outcomes[index];
    const XAVO_VELK_LifecycleJob *job =
        run->outcome_count == 1 ? answer->jobs : find_job(answer->jobs, outcome->job_id);
    if (job != NULL && differ(outcome->job, job)) {
        keep_job(outcome, job);
        news = true;
    }
    const bool answered = answer->effect == XAVO_EFFECT_ANSWERED || outcome->effect == XAVO_EFFECT_ANSWERED;
    wait->follows[index].seen |= job != NULL;
    if (news)
        print_progress(run, outcome, wait->kind);
    if (job != NULL)
        judge(wait, index, job);
    else if (is_absent(answer) && wait->follows[index].seen)
        end_wait(outcome, XAVO_WAIT_GONE, KIND_JOB_GONE, NULL);
    else if (is_absent(answer))
        fail_absent(outcome, answer);
    else if (answer->kind == XAVO_KIND_NOTHING_ASKED ||
             (answer->kind == XAVO_KIND_NO_WORKER && !wait->reached))
        (void)take_outcome(outcome, answer);
    outcome->effect = answered ? XAVO_EFFECT_ANSWERED : XAVO_EFFECT_NONE;
    if (!is_pending(outcome))
        end_progress(run);
}

static void poll_jobs(struct wait *wait) {
    struct run *run = wait->run;
    const XAVO_Request request = {.operation = run->outcome_count == 1 ? XAVO_OP_GET_JOB : XAVO_OP_LIST_JOBS,
                                  .id = run->outcomes->job_id};
    XAVO_Answer answer;
    perform_call(run, request, wait->timeout, &answer);
    ++wait->polls;
    const int before = wait->kind;
    const bool answered = answer.effect == XAVO_EFFECT_ANSWERED;
    wait->kind = answered ? XAVO_KIND_NONE : answer.kind;
    wait->reached |= answered;
    if (answer.kind != XAVO_KIND_DEADLINE)
        wait->crashed = answer.kind == XAVO_KIND_CRASHED;
    if (!answered && wait->kind != before && run->request.quiet && run->signal == 0)
        (void)fprintf(stderr, "xavoctl: %s: %s; waiting goes on\n", run->request.command->name,
                      kind_of(wait->kind)->sentence);
    if (answered)
        wait->timeout = ANSWER_TIMEOUT;
    else if (answer.kind == XAVO_KIND_DEADLINE && wait->timeout < LONGEST_ANSWER_TIMEOUT)
        wait->timeout *= 2;
    for (size_t i = 0; i < run->outcome_count && run->signal == 0; ++i)
        if (is_pending(&run->outcomes[i]))
            take_poll(wait, i, &answer, wait->kind != before);
    XAVO_answer_free(&answer);
}

/* Pauses between polls; the bar goes on. */
static enum event pause_wait(struct wait *wait, int64_t ms) {
    struct run *run = wait->run;
    const int64_t end = now() + ms;
    enum event event = run->signal != 0 ? EVENT_SIGNAL : EVENT_TICK;
    for (int64_t left = ms; event == EVENT_TICK && left > 0; left = end - now()) {
        event = wait_for_event(run, -1, left < 1000 ? left : 1000, run->deadline);
        draw_bar(run, first_pending(run), wait->kind);
    }
    return event;
}

/* Ends the waits for the other jobs once one has ended. */
static void leave_others(struct run *run) {
    bool ended = false;
    for (size_t i = 0; i < run->outcome_count; ++i)
        ended |= !is_pending(&run->outcomes[i]);
    for (struct outcome *other; ended && (other = first_pending(run)) != NULL;)
        end_wait(other, END_GOES_ON, XAVO_KIND_NONE, NULL);
}

/* Ends the waits that a signal or the deadline cut short. */
static void cut_waits(struct wait *wait, bool interrupted) {
    for (struct outcome *outcome; (outcome = first_pending(wait->run)) != NULL;) {
        const int kind = interrupted            ? XAVO_KIND_CANCELLED
                         : outcome->job != NULL ? KIND_JOB_GOES_ON
                         : wait->reached        ? KIND_JOB_UNREADABLE
                                                : KIND_JOB_NOT_SEEN;
        end_wait(outcome, interrupted ? XAVO_WAIT_CANCELLED : XAVO_WAIT_DEADLINE, kind,
                 kind == KIND_JOB_NOT_SEEN && wait->crashed
                     ? "the client library crashed, and the time is over"
                     : NULL);
    }
}

static int64_t longer(int64_t pause) { return pause * 3 / 2 < LONGEST_PAUSE ? pause * 3 / 2 : LONGEST_PAUSE; }

void wait_for_jobs(struct run *run, bool seen) {
    struct wait wait = {
        .run = run, .follows = allocate(run->outcome_count, sizeof *wait.follows), .timeout = ANSWER_TIMEOUT};
    if (wait.follows == NULL) {
        fail(run->outcomes, XAVO_KIND_NOTHING_ASKED, "out of memory");
        run->outcomes->code = XAVO_OUT_OF_MEMORY;
        return;
    }
    for (size_t i = 0; i < run->outcome_count; ++i)
        wait.follows[i].seen = seen;
    enum event event = EVENT_TICK;
    for (int64_t pause = FIRST_PAUSE; event == EVENT_TICK; pause = longer(pause)) {
        poll_jobs(&wait);
        if (run->request.any)
            leave_others(run);
        if (first_pending(run) == NULL)
            break;
        event = pause_wait(&wait, pause);
    }
    cut_waits(&wait, event == EVENT_SIGNAL);
    free(wait.follows);
}

/* ---- Looking for a job ------------------------------------------------------------------------------- */

/* Whether the listing holds all the jobs that there are. */
static bool is_complete(const XAVO_Answer *answer) {
    return answer->code == XAVO_NO_ERROR && answer->unreadable == 0;
}

static void list_jobs(struct run *run, XAVO_Answer *answer) {
    perform_call(run, (XAVO_Request){.operation = XAVO_OP_LIST_JOBS}, ANSWER_TIMEOUT, answer);
}

/* Counts the jobs of a name that were not there before; *found is the last of them. */
static int count_new(const XAVO_Answer *before, const XAVO_Answer *after, const char *name,
                     const XAVO_VELK_LifecycleJob **found) {
    int count = 0;
    for (const XAVO_VELK_LifecycleJob *job = after->jobs; job != NULL; job = job->next)
        if (has_name(job, name) && job->InstanceID != NULL &&
            find_job(before->jobs, job->InstanceID) == NULL) {
            *found = job;
            ++count;
        }
    return count;
}

/* Lists the jobs until there is a new one of that name, which the outcome takes over. Returns NULL, or what
 * was found instead. */
static const char *search_jobs(struct run *run, const char *name, const XAVO_Answer *before) {
    const char *finding = "the jobs could not be listed";
    int64_t pause = FIRST_PAUSE;
    int count;
    do {
        XAVO_Answer after;
        const XAVO_VELK_LifecycleJob *found = NULL;
        list_jobs(run, &after);
        count = is_complete(&after) ? count_new(before, &after, name, &found) : 0;
        if (count == 1) {
            forget_failure(run->outcomes);
            run->outcomes->effect = XAVO_EFFECT_ANSWERED;
            run->outcomes->job_id = copy_text(found->InstanceID);
            keep_job(run->outcomes, found);
        } else if (is_complete(&after)) {
            finding =
                count == 0 ? "there is no new job of that name" : "there are several new jobs of that name";
        }
        XAVO_answer_free(&after);
        pause = longer(pause);
    } while (count == 0 && wait_for_event(run, -1, pause, run->deadline) == EVENT_TICK);
    return count == 1 ? NULL : finding;
}

/* Looks for a job that may have been started: one of the name that was not there before. The outcome, which
 * is unknown, says what was found. Only complete listings decide. */
static void look_for_job(struct run *run, const char *name, const XAVO_Answer *before) {
    const int64_t deadline = run->deadline;
    const char *finding = "which jobs were there before is not known";
    if (is_complete(before)) {
        (void)fprintf(stderr, "xavoctl: %s; looking for the job named ", sentence_of(run->outcomes));
        put_line(stderr, name);
        run->deadline = now() + SEARCH_TIME; /* the run's own may be over */
        finding = search_jobs(run, name, before);
        run->deadline = deadline;
    }
    if (finding != NULL)
        add_to_message(run->outcomes, finding);
}

/* ---- Starting jobs ----------------------------------------------------------------------------------- */

void start_job(struct run *run, XAVO_Request request, const char *name) {
    struct outcome *outcome = run->outcomes;
    XAVO_Answer before = {0};
    if (name != NULL && !run->request.dry_run)
        list_jobs(run, &before);
    perform_and_note(run, request, outcome, &run->answer);
    wipe_secrets(&run->request);
    if (outcome->kind == XAVO_KIND_ANSWER_UNUSABLE)
        outcome->effect =
            XAVO_EFFECT_UNKNOWN; /* a job may have been started, whose identifier did not come */
    if (run->answer.job_id != NULL)
        outcome->job_id = copy_text(run->answer.job_id);
    else if (name != NULL && outcome->effect == XAVO_EFFECT_UNKNOWN && run->signal == 0)
        look_for_job(run, name, &before);
    XAVO_answer_free(&before);
    run->began = now();
    if (outcome->job_id != NULL && !run->request.json) {
        put_line(stdout, outcome->job_id); /* before anything else can fail */
        (void)fflush(stdout);
    }
    if (run->request.wait && outcome->job_id != NULL && outcome->kind == XAVO_KIND_NONE)
        wait_for_jobs(run, true);
}
