/* ask.c - what the worker asks of the controller. */
#include "ask.h"

#include "value.h"
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

static XAVO_Proxy *open_handle(struct request *request) {
    XAVO_Proxy *sp = XAVO_new_with_uname(request->user);
    if (sp != NULL) {
        send_frame("connected", NULL);
        return sp;
    }
    struct json_object *failure = json_object_new_object();
    note_failure(failure, XAVO_UNABLE_TO_OPEN_CONNECTION, "no broker", "no broker answers");
    send_frame("set", failure);
    return NULL;
}

/* Sends what is behind a code. True when there is no failure. */
static bool settle(XAVO_Proxy *sp, XAVO_ErrorCode code) {
    (void)sp;
    if (code == XAVO_NO_ERROR)
        return true;
    struct json_object *failure = json_object_new_object();
    note_failure(failure, code, NULL, NULL);
    send_frame("set", failure);
    return false;
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
        send_frame("begin", text(*id));
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
    for (char **id = request->arguments; *id != NULL; ++id) {
        send_frame("begin", text(*id));
        settle(sp, code);
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
        struct json_object *failure = json_object_new_object();
        note_failure(failure, XAVO_UNKNOWN_ERROR, "outcome unknown",
                     "the connection was lost during the call, and there is no new job of that name");
        send_frame("set", failure);
    }
    json_object_put(ids);
}

/* ---- Waiting --------------------------------------------------------------------------------------------
 */

static void end(const char *word, const XAVO_VELK_LifecycleJob *job, struct json_object *failure) {
    struct json_object *members = failure ? failure : json_object_new_object();
    json_object_object_add(members, "end", json_object_new_string(word));
    json_object_object_add(members, "job", job ? job_to_json(job) : NULL);
    send_frame("set", members);
}

/* Follows a job to its end, with a handle for each question and none in between. Has no deadline: the parent
 * has one, for hung brokers, too. */
static void follow(struct request *request, const char *id) {
    struct timespec pause = {0, 200000000};
    bool seen = request->seen;
    for (char *status = NULL;;) {
        XAVO_ErrorCode code = XAVO_UNKNOWN_ERROR;
        XAVO_VELK_LifecycleJob *job = NULL;
        XAVO_Proxy *sp = XAVO_new_with_uname(request->user);
        if (sp != NULL) {
            send_frame("connected", NULL);
            job = XAVO_get_VELK_LifecycleJob(sp, &code, id);
            XAVO_free(sp);
        }
        const char *now_status = job && job->JobStatus ? job->JobStatus : "";
        struct json_object *progress = member("job", job ? job_to_json(job) : NULL);
        json_object_object_add(progress, "changed",
                               json_object_new_boolean(!status || strcmp(status, now_status) != 0));
        send_frame("progress", progress);
        free(status);
        status = strdup(now_status);
        seen |= job != NULL;
        struct json_object *failure = NULL;
        const char *word = NULL;
        if (strcasecmp(now_status, "Completed") == 0) {
            word = "completed";
        } else if (strcasecmp(now_status, "Failed") == 0) {
            word = "failed";
            note_failure(failure = json_object_new_object(), XAVO_UNKNOWN_ERROR, "job failed", job->Message);
        } else if (code == XAVO_NOT_FOUND && seen) {
            word = "gone";
            note_failure(failure = json_object_new_object(), XAVO_NOT_FOUND, "job gone",
                         "the job is not there any more");
        } else if (code != XAVO_NO_ERROR && code != XAVO_UNKNOWN_ERROR) {
            settle(NULL, code);
        }
        if (word != NULL)
            end(word, job, failure);
        const bool ended = word != NULL || (code != XAVO_NO_ERROR && code != XAVO_UNKNOWN_ERROR);
        XAVO_free_VELK_LifecycleJob(job);
        if (ended) {
            free(status);
            return;
        }
        nanosleep(&pause, NULL);
        if (pause.tv_sec < 2)
            pause.tv_nsec += pause.tv_nsec / 2;
        if (pause.tv_nsec >= 1000000000)
            pause = (struct timespec){2, 0};
    }
}

void ask_follow(struct request *request) { follow(request, request->job_id); }

void ask_wait(struct request *request) {
    for (char **id = request->arguments + request->from; *id != NULL; ++id) {
        send_frame("begin", text(*id));
        follow(request, *id);
    }
}
