/* doctor.c - whether a controller is one that libxavo can work with: looks only, changes nothing. */
#include "ask.h"

#include <dlfcn.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

/* Sends what a check found; `advice` is for one that failed. */
static bool found(const char *check, bool ok, const char *advice, const char *format, ...)
    __attribute__((format(printf, 4, 5)));

static bool found(const char *check, bool ok, const char *advice, const char *format, ...) {
    char finding[1024];
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(finding, sizeof finding, format, arguments);
    va_end(arguments);
    struct json_object *result = json_object_new_object(), *list = json_object_new_object();
    json_object_object_add(result, "check", json_object_new_string(check));
    json_object_object_add(result, "ok", json_object_new_boolean(ok));
    json_object_object_add(result, "finding", json_object_new_string(finding));
    if (!ok)
        json_object_object_add(result, "advice", json_object_new_string(advice));
    json_object_object_add(list, "checks", result);
    send_frame("add", list);
    return ok;
}

static double milliseconds(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec * 1e3 + (double)time.tv_nsec / 1e6;
}

/* Which client library the loader took. The simulator has functions that steer it. */
static bool check_library(void) {
    void *connect = dlsym(RTLD_DEFAULT, "cmciConnect");
    Dl_info library;
    char *path = connect != NULL && dladdr(connect, &library) != 0 ? realpath(library.dli_fname, NULL) : NULL;
    found("client library", path != NULL, "Install sblim-sfcc, or name its folder in ld.so.conf.", "%s, %s",
          path ? path : "not found", dlsym(RTLD_DEFAULT, "cimsim_reset") != NULL ? "simulated" : "real");
    free(path);
    return path != NULL;
}

/* Asks for a class, as one does before a method is called. */
static CMPIrc ask_for_class(XAVO_Proxy *sp, const char *name) {
    XAVO_ErrorCode code;
    CMPIObjectPath *path = XAVO_build_object_path_key_value(sp, &code, "root/velk", name, "Name", "");
    if (path == NULL)
        return CMPI_RC_ERR_FAILED;
    CMPIStatus status = {CMPI_RC_OK, NULL};
    XAVO_lock(sp);
    CMPIConstClass *found_class = sp->client->ft->getClass(sp->client, path, 0, NULL, &status);
    XAVO_unlock(sp);
    if (status.msg != NULL)
        status.msg->ft->release(status.msg);
    path->ft->release(path);
    if (found_class == NULL)
        return status.rc == CMPI_RC_OK ? CMPI_RC_ERR_FAILED : status.rc;
    found_class->ft->release(found_class);
    return CMPI_RC_OK;
}

static const char denied[] = "Ask as another user (--user), or give this one the right.";
static const char look_further[] = "The broker's own log tells more; --verbose shows this library's.";

static const char *advice_on_class(CMPIrc rc) {
    switch (rc) {
    case CMPI_RC_ERR_ACCESS_DENIED:
        return denied;
    case CMPI_RC_ERR_INVALID_NAMESPACE:
    case CMPI_RC_ERR_INVALID_CLASS:
    case CMPI_RC_ERR_NOT_FOUND:
    case CMPI_RC_ERR_NOT_SUPPORTED:
        return "Its provider is not registered with the broker, in the namespace root/velk.";
    default:
        return look_further;
    }
}

static bool check_classes(XAVO_Proxy *sp) {
    static const char *const names[] = {"VELK_LifecycleJob", "VELK_JobService", "VELK_QMService",
                                        "VELK_SoftwareInstallationService", "VELK_SoftwareIdentity"};
    bool ok = true;
    for (size_t i = 0; i < sizeof names / sizeof *names; ++i) {
        const CMPIrc rc = ask_for_class(sp, names[i]);
        ok &= found("class", rc == CMPI_RC_OK, advice_on_class(rc), rc == CMPI_RC_OK ? "%s" : "%s: status %d",
                    names[i], (int)rc);
    }
    return ok;
}

static const char *advice_on_code(XAVO_ErrorCode code) {
    return code == XAVO_PERMISSION_ERROR ? denied : look_further;
}

static bool check_jobs(XAVO_Proxy *sp, const char *user) {
    XAVO_ErrorCode code;
    unsigned int count = 0;
    const double before = milliseconds();
    XAVO_VELK_LifecycleJob *jobs = XAVO_enumerate_VELK_LifecycleJob(sp, &code);
    const double took = milliseconds() - before;
    for (const XAVO_VELK_LifecycleJob *job = jobs; job != NULL; job = job->next)
        ++count;
    XAVO_free_list_VELK_LifecycleJob(jobs);
    bool ok = found("list jobs", code == XAVO_NO_ERROR, advice_on_code(code), "as %s: %s, %u jobs, %.1f ms",
                    user, XAVO_EC_to_string(code), count, took);
    XAVO_free_VELK_LifecycleJob(XAVO_get_VELK_LifecycleJob(sp, &code, "xavoctl: no such job"));
    ok &= found("unknown job", code == XAVO_NOT_FOUND, advice_on_code(code), "as %s: %s", user,
                XAVO_EC_to_string(code));
    return ok;
}

void ask_doctor(struct request *request) {
    struct json_object *lists = json_object_new_object(), *failure = NULL;
    const char *user = request->user ? request->user : "root";
    json_object_object_add(lists, "checks", json_object_new_array());
    send_frame("set", lists);

    bool ok = check_library(), dead = false;
    const double before = milliseconds();
    XAVO_Proxy *sp = XAVO_new_with_uname(request->user);
    if (sp != NULL) {
        send_frame("connected", NULL);
        /* Opening a handle may talk to nobody: a question does. */
        const CMPIrc rc = ask_for_class(sp, "VELK_LifecycleJob");
        dead = rc == CMPI_RC_ERR_FAILED;
        ok &= found("broker", !dead, "Restart the broker; a connection was made and went dead.",
                    "%s after %.1f ms, as %s", dead ? "does not answer" : "answers", milliseconds() - before,
                    user);
        ok &= check_classes(sp);
        ok &= check_jobs(sp, user);
        XAVO_free(sp);
    } else {
        found("broker", false, "Start the broker; look whether its local socket is there and may be opened.",
              "does not answer");
    }
    if (sp != NULL && ok)
        return;
    failure = json_object_new_object();
    if (sp == NULL)
        note_failure(failure, XAVO_UNABLE_TO_OPEN_CONNECTION, "no broker", "no broker answers");
    else
        note_failure(failure, XAVO_UNKNOWN_ERROR, dead ? "connection lost" : NULL, "a check failed");
    send_frame("set", failure);
}
