/* ask.c - what the worker asks of the controller. */
#include "ask.h"

#include "value.h"
#include <ctype.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

/* ---- Frames ---------------------------------------------------------------------------------------------
 */

static struct json_object *member(const char *key, struct json_object *value) {
    struct json_object *object = json_object_new_object();
    json_object_object_add(object, key, value);
    return object;
}

static struct json_object *text(const char *string) { return string ? json_object_new_string(string) : NULL; }

static void set(const char *key, struct json_object *value) { send_frame("set", member(key, value)); }

static void add(const char *list, struct json_object *element) { send_frame("add", member(list, element)); }

/* The ten properties by name. */
static struct json_object *job_to_json(const XAVO_VELK_LifecycleJob *job) {
#define FIELD(name)                                                                                          \
    { #name, offsetof(XAVO_VELK_LifecycleJob, name) }
    static const struct {
        const char *name;
        size_t offset;
    } fields[] = {
        FIELD(InstanceID),
        FIELD(Name),
        FIELD(JobStatus),
        FIELD(PercentComplete),
        FIELD(JobStartTime),
        FIELD(JobUntilTime),
        FIELD(ElapsedTimeSinceCompletion),
        FIELD(MessageID),
        FIELD(Message),
        FIELD(MessageArguments),
    };
#undef FIELD
    struct json_object *object = json_object_new_object();
    for (size_t i = 0; i < sizeof fields / sizeof *fields; ++i) {
        char *string;
        memcpy(&string, (const char *)job + fields[i].offset, sizeof string);
        json_object_object_add(object, fields[i].name, text(string));
    }
    return object;
}

/* ---- Handles and outcomes -------------------------------------------------------------------------------
 */

/* What is said where the service and the broker have no words of their own. */
static const char *words_for(int kind) {
    switch (kind) {
    case XAVO_REASON_NOTHING_ASKED:
        return "refused before anything was asked";
    case XAVO_REASON_SERVICE:
        return "the service refuses";
    case XAVO_REASON_BROKER:
        return "the broker refuses";
    case XAVO_REASON_CONNECTION_LOST:
        return "the connection was lost";
    case XAVO_REASON_OUTCOME_UNKNOWN:
        return "the connection was lost during the call: the outcome is unknown";
    default:
        return "the answer cannot be used";
    }
}

/* The companion's names as words: CONNECTION_LOST is "connection lost". */
static struct json_object *word(const char *name) {
    char lower[32];
    size_t length = 0;
    for (; name[length] != '\0' && length < sizeof lower; ++length)
        lower[length] = (char)(name[length] == '_' ? ' ' : tolower((unsigned char)name[length]));
    return json_object_new_string_len(lower, (int)length);
}

/* What is behind a code. */
static struct json_object *failure(XAVO_ErrorCode code, const XAVO_Reason *reason) {
    struct json_object *object = json_object_new_object();
    note_failure(object, code, NULL, reason->message[0] != '\0' ? reason->message : words_for(reason->kind));
    json_object_object_add(object, "kind", word(XAVO_reason_to_string(reason->kind)));
    if (reason->message_id[0] != '\0')
        json_object_object_add(object, "message_id", text(reason->message_id));
    if (reason->kind == XAVO_REASON_BROKER)
        json_object_object_add(object, "status", json_object_new_int((int)reason->rc));
    return object;
}

/* Sends what is behind a code. True when there is no failure. */
static bool settle(XAVO_Proxy *sp, XAVO_ErrorCode code) {
    XAVO_Reason reason;
    (void)XAVO_take_reason(sp, code, &reason);
    if (code != XAVO_NO_ERROR)
        send_frame("set", failure(code, &reason));
    return code == XAVO_NO_ERROR;
}

/* A guarded handle; NULL: what is behind that has been sent. */
static XAVO_Proxy *open_handle(struct request *request) {
    XAVO_Proxy *sp = XAVO_new_with_uname(request->user);
    const XAVO_ErrorCode code = sp ? XAVO_guard(sp) : XAVO_UNABLE_TO_OPEN_CONNECTION;
    if (code == XAVO_NO_ERROR) {
        send_frame("connected", NULL);
        return sp;
    }
    struct json_object *object = json_object_new_object();
    note_failure(object, code, sp ? NULL : "no broker",
                 sp ? "the handle cannot be guarded" : "no broker answers");
    send_frame("set", object);
    XAVO_free(sp);
    return NULL;
}

/* ---- Reading --------------------------------------------------------------------------------------------
 */

static bool is_named(const XAVO_VELK_LifecycleJob *job, const char *name) {
    return job->Name != NULL && strcmp(job->Name, name) == 0;
}

void ask_jobs(struct request *request) {
    XAVO_Proxy *sp = open_handle(request);
    if (sp == NULL)
        return;
    XAVO_ErrorCode code;
    XAVO_VELK_LifecycleJob *jobs = XAVO_enumerate_VELK_LifecycleJob(sp, &code);
    set("jobs", json_object_new_array());
    for (const XAVO_VELK_LifecycleJob *job = jobs; job != NULL; job = job->next)
        if (request->name == NULL || is_named(job, request->name))
            add("jobs", job_to_json(job));
    XAVO_free_list_VELK_LifecycleJob(jobs);
    settle(sp, code);
    XAVO_free(sp);
}

void ask_job(struct request *request) {
    XAVO_Proxy *sp = open_handle(request);
    if (sp == NULL)
        return;
    XAVO_ErrorCode code;
    XAVO_VELK_LifecycleJob *job = XAVO_get_VELK_LifecycleJob(sp, &code, request->arguments[0]);
    if (job != NULL)
        set("job", job_to_json(job));
    settle(sp, job == NULL && code == XAVO_NO_ERROR ? XAVO_NOT_FOUND : code);
    XAVO_free_VELK_LifecycleJob(job);
    XAVO_free(sp);
}

void ask_instances(struct request *request) {
    XAVO_Proxy *sp = open_handle(request);
    if (sp == NULL)
        return;
    XAVO_ErrorCode code;
    CMPIEnumeration *instances = XAVO_enumerate(
        sp, &code, request->name_space ? request->name_space : "root/velk", request->arguments[0]);
    if (settle(sp, code))
        set("instances", json_object_new_array());
    else if (code ==
             XAVO_INVALID_VALUE) /* no such namespace or class: nothing else of the question can be wrong */
        set("kind", text("not there"));
    while (instances != NULL && instances->ft->hasNext(instances, NULL)) {
        CMPIStatus status = {CMPI_RC_OK, NULL};
        const CMPIData element = instances->ft->getNext(instances, &status);
        if (status.rc != CMPI_RC_OK)
            break;
        if (element.state == CMPI_goodValue && element.type == CMPI_instance && element.value.inst != NULL)
            add("instances", instance_to_json(element.value.inst));
    }
    if (instances != NULL)
        instances->ft->release(instances);
    XAVO_free(sp);
}

/* ---- Changing the queue ---------------------------------------------------------------------------------
 */

void ask_delete(struct request *request) {
    XAVO_Proxy *sp = open_handle(request);
    for (char **id = request->arguments; sp != NULL && *id != NULL; ++id) {
        XAVO_ErrorCode code;
        send_frame("begin", json_object_new_int((int)(id - request->arguments)));
        XAVO_delete_VELK_LifecycleJob(sp, &code, *id);
        settle(sp, code);
    }
    XAVO_free(sp);
}

void ask_queue(struct request *request) {
    XAVO_Proxy *sp = open_handle(request);
    if (sp == NULL)
        return;
    XAVO_ErrorCode code;
    XAVO_invoke_SetupJobQueue(sp, &code, request->start, request->until, request->arguments);
    XAVO_Reason reason;
    (void)XAVO_take_reason(sp, code, &reason);
    for (int i = 0; i < request->argument_count; ++i) {
        send_frame("begin", json_object_new_int(i));
        if (code != XAVO_NO_ERROR)
            send_frame("set", failure(code, &reason));
    }
    XAVO_free(sp);
}

/* ---- Starting jobs --------------------------------------------------------------------------------------
 */

static void follow(struct request *request, const char *id);

/* Says which job was started, and stays with it if asked to. */
static void started(struct request *request, XAVO_Proxy *sp, XAVO_ErrorCode code, char *id) {
    const bool done = settle(sp, code);
    XAVO_free(sp);
    if (done)
        set("job_id", text(id));
    if (done && request->wait)
        follow(request, id);
    XAVO_free_ntstring(id);
}

/* The identifiers of the jobs of a name. */
static struct json_object *jobs_named(XAVO_Proxy *sp, const char *name, XAVO_ErrorCode *code) {
    struct json_object *ids = json_object_new_array();
    XAVO_VELK_LifecycleJob *jobs = XAVO_enumerate_VELK_LifecycleJob(sp, code);
    for (const XAVO_VELK_LifecycleJob *job = jobs; job != NULL; job = job->next)
        if (is_named(job, name) && job->InstanceID != NULL)
            json_object_array_add(ids, text(job->InstanceID));
    XAVO_free_list_VELK_LifecycleJob(jobs);
    return ids;
}

static void ask_image(struct request *request, const char *method) {
    XAVO_Proxy *sp = open_handle(request);
    if (sp == NULL)
        return;
    XAVO_ErrorCode code;
    char *id = NULL;
    if (request->image.JobName[0] !=
        '\0') /* should the outcome be unknown: which jobs of the name are not the new one */
        send_frame("before", jobs_named(sp, request->image.JobName, &code));
    XAVO_invoke_BackupRestore(sp, &code, method, &request->image, &id);
    wipe_secrets(request);
    started(request, sp, code, id);
}

void ask_backup(struct request *request) { ask_image(request, "BackupImage"); }

void ask_restore(struct request *request) { ask_image(request, "RestoreImage"); }

void ask_test_share(struct request *request) {
    XAVO_Proxy *sp = open_handle(request);
    if (sp == NULL)
        return;
    XAVO_ErrorCode code;
    XAVO_invoke_TestNetworkShare(sp, &code, &request->share);
    if (settle(sp, code))
        set("reachable", json_object_new_boolean(true));
    XAVO_free(sp);
}

void ask_install(struct request *request) {
    XAVO_Proxy *sp = open_handle(request);
    if (sp == NULL)
        return;
    XAVO_ErrorCode code;
    char *id = NULL;
    if (request->uri != NULL)
        XAVO_invoke_InstallFromURI(sp, &code, request->uri, request->target, &id);
    else
        XAVO_invoke_InstallFromSoftwareIdentity(sp, &code, request->target, &id);
    started(request, sp, code, id);
}

void ask_reboot(struct request *request) {
    XAVO_Proxy *sp = open_handle(request);
    if (sp == NULL)
        return;
    XAVO_ErrorCode code;
    char *id = NULL;
    XAVO_invoke_CreateRebootJob(sp, &code, request->arguments[0], &id);
    started(request, sp, code, id);
}

static bool has(struct json_object *ids, const char *id) {
    for (size_t i = 0; i < json_object_array_length(ids); ++i)
        if (strcmp(json_object_get_string(json_object_array_get_idx(ids, i)), id) == 0)
            return true;
    return false;
}

void ask_find(struct request *request) {
    const struct timespec pause = {0, 500000000};
    XAVO_ErrorCode code = XAVO_UNKNOWN_ERROR;
    struct json_object *ids = NULL;
    while (code != XAVO_NO_ERROR) { /* until the broker is back, or the parent has had enough */
        XAVO_Proxy *sp = XAVO_new_with_uname(request->user);
        if (sp != NULL) {
            send_frame("connected", NULL);
            json_object_put(ids);
            ids = jobs_named(sp, request->image.JobName, &code);
            XAVO_free(sp);
        }
        if (code != XAVO_NO_ERROR)
            nanosleep(&pause, NULL);
    }
    const char *found = NULL;
    for (size_t i = 0; i < json_object_array_length(ids) && found == NULL; ++i) {
        const char *id = json_object_get_string(json_object_array_get_idx(ids, i));
        if (!has(request->before, id))
            found = id;
    }
    if (found != NULL) {
        set("job_id", text(found));
        if (request->wait)
            follow(request, found);
    } else {
        struct json_object *object = json_object_new_object();
        note_failure(object, XAVO_UNKNOWN_ERROR, "outcome unknown",
                     "the connection was lost during the call, and there is no new job of that name");
        send_frame("set", object);
    }
    json_object_put(ids);
}

/* ---- Waiting --------------------------------------------------------------------------------------------
 */

static int tell_poll(void *context, const XAVO_Poll *poll) {
    (void)context;
    struct json_object *progress = member("changed", json_object_new_boolean(poll->changed));
    const bool away = poll->code == XAVO_UNABLE_TO_OPEN_CONNECTION || poll->code == XAVO_UNKNOWN_ERROR;
    json_object_object_add(progress, "away", json_object_new_boolean(away));
    if (poll->job != NULL)
        json_object_object_add(progress, "job", job_to_json(poll->job));
    send_frame("progress", progress);
    return 0;
}

/* Follows a job to its end; `seen`: it was there before. There is no deadline: the parent has one, which
 * holds for a broker that hangs, too. */
static void follow_seen(struct request *request, const char *id, bool seen) {
    const XAVO_WaitOptions how = {.uname = request->user,
                                  .deadline_ms = XAVO_WAIT_FOREVER,
                                  .first_pause_ms = 200,
                                  .longest_pause_ms = 2000,
                                  .polled = tell_poll};
    XAVO_WaitResult result;
    int end = XAVO_wait_for_job(id, &how, &result);
    if (end == XAVO_WAIT_NOT_FOUND && seen)
        end = XAVO_WAIT_GONE;
    struct json_object *outcome = NULL;
    if (end == XAVO_WAIT_COMPLETED) {
        outcome = json_object_new_object();
    } else if (end == XAVO_WAIT_FAILED) {
        outcome = json_object_new_object();
        note_failure(outcome, XAVO_UNKNOWN_ERROR, "job failed", result.job->Message);
        json_object_object_add(outcome, "message_id", text(result.job->MessageID));
    } else if (end == XAVO_WAIT_GONE) {
        outcome = json_object_new_object();
        note_failure(outcome, XAVO_NOT_FOUND, "job gone", "the job is not there any more");
    } else {
        outcome = failure(result.code, &result.reason);
    }
    if (end != XAVO_WAIT_NOT_FOUND && end != XAVO_WAIT_ERROR)
        json_object_object_add(outcome, "end", word(XAVO_wait_to_string(end)));
    if (result.job != NULL)
        json_object_object_add(outcome, "job", job_to_json(result.job));
    send_frame("set", outcome);
    XAVO_free_VELK_LifecycleJob(result.job);
}

static void follow(struct request *request, const char *id) { follow_seen(request, id, true); }

void ask_follow(struct request *request) { follow(request, request->job_id); }

/* Whether a worker before this one saw the job of an argument. */
static bool was_seen(const struct request *request, int index) {
    struct json_object *results, *job;
    struct json_object *result = json_object_object_get_ex(request->document, "results", &results)
                                     ? json_object_array_get_idx(results, (size_t)index)
                                     : request->document;
    return result != NULL && json_object_object_get_ex(result, "job", &job);
}

/* Looks at all of several jobs once, so that one that ends and goes while another is waited for was seen. */
static void look_at_jobs(struct request *request, bool *seen) {
    XAVO_Proxy *sp = XAVO_new_with_uname(request->user);
    for (int i = request->from; sp != NULL && i < request->argument_count; ++i) {
        XAVO_ErrorCode code;
        XAVO_VELK_LifecycleJob *job = XAVO_get_VELK_LifecycleJob(sp, &code, request->arguments[i]);
        if (job != NULL) {
            seen[i] = true;
            send_frame("begin", json_object_new_int(i));
            set("job", job_to_json(job));
        }
        XAVO_free_VELK_LifecycleJob(job);
    }
    XAVO_free(sp);
}

void ask_wait(struct request *request) {
    bool *seen = calloc((size_t)request->argument_count, sizeof *seen);
    if (seen == NULL)
        return;
    for (int i = request->from; i < request->argument_count; ++i)
        seen[i] = was_seen(request, i);
    if (request->argument_count > 1)
        look_at_jobs(request, seen);
    for (int i = request->from; i < request->argument_count; ++i) {
        send_frame("begin", json_object_new_int(i));
        follow_seen(request, request->arguments[i], seen[i]);
    }
    free(seen);
}
