/* calls.c - every method call and query of libxavo, beside the shortest C that makes the same calls into the
 * client library.
 *
 *   calls                              prints a line for each operation: its name, whether it is a query, and
 *                                      how many allocations libxavo makes besides those of the results
 *   calls OPERATION SIDE TIMES [JOBS]  runs that side TIMES times, each in `counted`, on a controller with
 *                                      JOBS jobs (10); SIDE is libxavo or by-hand
 *   calls OPERATION time TIMES [JOBS]  checks that both sides make the same calls into the client library,
 *                                      runs them alternately, and prints the median nanoseconds of each
 *
 * The code by hand is as short as possible: it checks nothing, locks nothing and trusts every answer. But it
 * passes a status to the calls to which libxavo passes one, so that the client library does the same work for
 * both; without one, a program cannot distinguish a missing property from one that could not be read. */
#include <cimsim.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <XAVO.h>

/* The results of a call. */
typedef struct outcome {
    XAVO_ErrorCode code;
    char *job;
    XAVO_VELK_LifecycleJob *jobs;
} outcome;

static const char LATER[] = "20990101000000", URI[] = "http://192.0.2.20/bios.bin", BIOS[] = "IDENTITY:BIOS";
static char *queue[] = {(char[]){"JID_1"}, (char[]){"JID_2"}, NULL};
static XAVO_BAR_INPUT_DATA image = {.uname = "operator",
                                    .passwd = "secret",
                                    .passphrase = "phrase",
                                    .ipaddr = "192.0.2.10",
                                    .sharename = "backups",
                                    .imagename = "image",
                                    .startTime = "NOW",
                                    .untilTime = "20990101000000",
                                    .shareType = 2,
                                    .preserveVDConfig = 1,
                                    .JobName = "nightly",
                                    .checkBackupDestinationAvailability = 1};
static const XAVO_NET_INPUT_DATA share = {.uname = "operator",
                                          .passwd = "secret",
                                          .workgroup = "group",
                                          .ipaddr = "192.0.2.10",
                                          .sharename = "backups",
                                          .shareType = 2};

/* ---- By hand ------------------------------------------------------------------------------------ */

static CMPIValue *value_at(const void *variable) {
    union {
        const void *given;
        CMPIValue *value;
    } same = {.given = variable};
    return same.value;
}

static void add_text(CMPIArgs *in, const char *name, const char *text) {
    in->ft->addArg(in, name, value_at(text), CMPI_chars);
}

static void add_number(CMPIArgs *in, const char *name, const CMPIUint16 *number) {
    in->ft->addArg(in, name, value_at(number), CMPI_uint16);
}

static CMPIObjectPath *keyed_path(const char *class_name, const char *id) {
    CMPIStatus status;
    CMPIObjectPath *path = newCMPIObjectPath("root/velk", class_name, &status);
    path->ft->addKey(path, "InstanceID", value_at(id), CMPI_chars);
    return path;
}

/* A method call: `begin`, the arguments of its operation, `send`. */
typedef struct call {
    CMCIClient *client;
    CMPIObjectPath *path, *target;
    CMPIArgs *in, *out;
    CMPIArray *array;
} call;

static call begin(XAVO_Proxy *sp, const char *class_name, const char *system_name, const char *name,
                  const char *identity) {
    CMPIStatus status;
    call c = {.client = sp->client, .path = newCMPIObjectPath("root/velk", class_name, &status)};
    c.path->ft->addKey(c.path, "CreationClassName", value_at(class_name), CMPI_chars);
    c.path->ft->addKey(c.path, "SystemCreationClassName", value_at("VELK_ComputerSystem"), CMPI_chars);
    c.path->ft->addKey(c.path, "SystemName", value_at(system_name), CMPI_chars);
    c.path->ft->addKey(c.path, "Name", value_at(name), CMPI_chars);
    if (identity != NULL)
        c.target = keyed_path("VELK_SoftwareIdentity", identity);
    c.in = native_new_CMPIArgs(NULL);
    c.out = native_new_CMPIArgs(NULL);
    return c;
}

static call to_job_service(XAVO_Proxy *sp) {
    return begin(sp, "VELK_JobService", "Tavix", "JobService", NULL);
}
static call to_installer(XAVO_Proxy *sp, const char *identity) {
    return begin(sp, "VELK_SoftwareInstallationService", "TAVIX:ID", "SoftwareUpdate", identity);
}
static call to_qm_service(XAVO_Proxy *sp) {
    return begin(sp, "VELK_QMService", "VELK:ComputerSystem", "VELK:QMService", NULL);
}

static CMPIData send(call *c, const char *method) {
    CMPIStatus status = {CMPI_RC_OK, NULL};
    const CMPIData returned = c->client->ft->invokeMethod(c->client, c->path, method, c->in, c->out, &status);
    c->path->ft->release(c->path);
    c->in->ft->release(c->in);
    if (c->array != NULL)
        c->array->ft->release(c->array);
    if (c->target != NULL)
        c->target->ft->release(c->target);
    return returned;
}

static void send_for_value(call *c, const char *method, outcome *o) {
    o->code = (XAVO_ErrorCode)send(c, method).value.uint32;
    c->out->ft->release(c->out);
}

static void read_job(call *c, const char *output, outcome *o) {
    CMPIStatus status;
    CMPIData job = c->out->ft->getArg(c->out, output, &status);
    CMPIData key = job.value.ref->ft->getKey(job.value.ref, "InstanceID", &status);
    job.value.ref->ft->release(job.value.ref);
    o->job = strdup(key.value.string->ft->getCharPtr(key.value.string, NULL));
    key.value.string->ft->release(key.value.string);
    c->out->ft->release(c->out);
}

static int refused(call *c) {
    CMPIStatus status;
    c->out->ft->getArg(c->out, "MessageID", &status);
    return status.rc == CMPI_RC_OK;
}

static void delete_job_by_hand(XAVO_Proxy *sp, outcome *o) {
    call c = to_job_service(sp);
    add_text(c.in, "JobID", "JID_1");
    send_for_value(&c, "DeleteJobQueue", o);
}

static void set_queue_up_by_hand(XAVO_Proxy *sp, outcome *o) {
    CMPIStatus status;
    call c = to_job_service(sp);
    add_text(c.in, "StartTimeInterval", LATER);
    add_text(c.in, "UntilTime", LATER);
    c.array = native_new_CMPIArray(2, CMPI_string, &status);
    for (CMPICount i = 0; i < 2; ++i) {
        CMPIString *id = native_new_CMPIString(queue[i], NULL);
        c.array->ft->setElementAt(c.array, i, value_at(&id), CMPI_string);
        id->ft->release(id);
    }
    c.in->ft->addArg(c.in, "JobArray", value_at(&c.array), CMPI_stringA);
    send_for_value(&c, "SetupJobQueue", o);
}

static void install_uri_by_hand(XAVO_Proxy *sp, outcome *o) {
    call c = to_installer(sp, BIOS);
    add_text(c.in, "URI", URI);
    c.in->ft->addArg(c.in, "Target", value_at(&c.target), CMPI_ref);
    send(&c, "InstallFromURI");
    read_job(&c, "Job", o);
}

static void install_identity_by_hand(XAVO_Proxy *sp, outcome *o) {
    call c = to_installer(sp, BIOS);
    c.in->ft->addArg(c.in, "Target", value_at(&c.target), CMPI_ref);
    send(&c, "InstallFromSoftwareIdentity");
    read_job(&c, "Job", o);
}

static void reboot_by_hand(XAVO_Proxy *sp, outcome *o) {
    call c = to_installer(sp, NULL);
    const CMPIUint16 type = 1;
    add_number(c.in, "RebootJobType", &type);
    send(&c, "CreateRebootJob");
    read_job(&c, "RebootJobID", o);
}

static void image_by_hand(XAVO_Proxy *sp, outcome *o, int restore) {
    call c = to_qm_service(sp);
    add_text(c.in, "IPAddress", image.ipaddr);
    add_text(c.in, "ShareName", image.sharename);
    add_text(c.in, "ImageName", image.imagename);
    add_text(c.in, "UserName", image.uname);
    add_text(c.in, "Password", image.passwd);
    add_text(c.in, "Passphrase", image.passphrase);
    add_text(c.in, "UntilTime", image.untilTime);
    add_text(c.in, "ScheduledStartTime", image.startTime);
    if (restore)
        add_number(c.in, "PreserveVDConfig", &image.preserveVDConfig);
    add_number(c.in, "ShareType", &image.shareType);
    add_text(c.in, "JobName", image.JobName);
    add_number(c.in, "CheckBackupDestinationAvailability", &image.checkBackupDestinationAvailability);
    send(&c, restore ? "RestoreImage" : "BackupImage");
    if (!refused(&c))
        read_job(&c, "Job", o);
}
static void backup_by_hand(XAVO_Proxy *sp, outcome *o) { image_by_hand(sp, o, 0); }
static void restore_by_hand(XAVO_Proxy *sp, outcome *o) { image_by_hand(sp, o, 1); }

static void test_share_by_hand(XAVO_Proxy *sp, outcome *o) {
    char user[sizeof share.workgroup + sizeof share.uname];
    call c = to_qm_service(sp);
    add_text(c.in, "IPAddress", share.ipaddr);
    add_text(c.in, "ShareName", share.sharename);
    stpcpy(stpcpy(stpcpy(user, share.workgroup), "\\"), share.uname);
    add_text(c.in, "UserName", user);
    add_text(c.in, "Password", share.passwd);
    add_text(c.in, "Workgroup", share.workgroup);
    add_number(c.in, "ShareType", &share.shareType);
    send(&c, "TestNetworkShare");
    o->code = refused(&c);
    c.out->ft->release(c.out);
}

static char *property_by_hand(CMPIInstance *instance, const char *name) {
    CMPIStatus status;
    CMPIData data = instance->ft->getProperty(instance, name, &status);
    if (data.state != CMPI_goodValue)
        return NULL;
    char *copy = strdup(data.value.string->ft->getCharPtr(data.value.string, NULL));
    data.value.string->ft->release(data.value.string);
    return copy;
}

static XAVO_VELK_LifecycleJob *record_by_hand(CMPIInstance *instance) {
    XAVO_VELK_LifecycleJob *job = malloc(sizeof *job);
    job->next = NULL;
    job->InstanceID = property_by_hand(instance, "InstanceID");
    job->ElapsedTimeSinceCompletion = property_by_hand(instance, "ElapsedTimeSinceCompletion");
    job->PercentComplete = property_by_hand(instance, "PercentComplete");
    job->JobUntilTime = property_by_hand(instance, "JobUntilTime");
    job->JobStartTime = property_by_hand(instance, "JobStartTime");
    job->MessageArguments = property_by_hand(instance, "MessageArguments");
    job->Message = property_by_hand(instance, "Message");
    job->MessageID = property_by_hand(instance, "MessageID");
    job->JobStatus = property_by_hand(instance, "JobStatus");
    job->Name = property_by_hand(instance, "Name");
    return job;
}

static void list_by_hand(XAVO_Proxy *sp, outcome *o) {
    CMPIStatus status;
    CMPIObjectPath *path = newCMPIObjectPath("root/velk", "VELK_LifecycleJob", &status);
    CMPIEnumeration *all =
        sp->client->ft->enumInstances(sp->client, path, CMPI_FLAG_DeepInheritance, NULL, &status);
    path->ft->release(path);
    for (XAVO_VELK_LifecycleJob **tail = &o->jobs; all->ft->hasNext(all, NULL); tail = &(*tail)->next)
        *tail = record_by_hand(all->ft->getNext(all, NULL).value.inst);
    all->ft->release(all);
}

static void get_by_hand(XAVO_Proxy *sp, outcome *o) {
    CMPIStatus status;
    CMPIObjectPath *path = keyed_path("VELK_LifecycleJob", "JID_1");
    CMPIInstance *instance =
        sp->client->ft->getInstance(sp->client, path, CMPI_FLAG_DeepInheritance, NULL, &status);
    path->ft->release(path);
    o->jobs = record_by_hand(instance);
    instance->ft->release(instance);
}

/* ---- libxavo ------------------------------------------------------------------------------------ */

static void delete_job(XAVO_Proxy *sp, outcome *o) { XAVO_invoke_DeleteJobQueue(sp, &o->code, "JID_1"); }
static void set_queue_up(XAVO_Proxy *sp, outcome *o) {
    XAVO_invoke_SetupJobQueue(sp, &o->code, LATER, LATER, queue);
}
static void install_uri(XAVO_Proxy *sp, outcome *o) {
    XAVO_invoke_InstallFromURI(sp, &o->code, URI, BIOS, &o->job);
}
static void install_identity(XAVO_Proxy *sp, outcome *o) {
    XAVO_invoke_InstallFromSoftwareIdentity(sp, &o->code, BIOS, &o->job);
}
static void reboot(XAVO_Proxy *sp, outcome *o) { XAVO_invoke_CreateRebootJob(sp, &o->code, "1", &o->job); }
static void backup(XAVO_Proxy *sp, outcome *o) {
    XAVO_invoke_BackupRestore(sp, &o->code, "BackupImage", &image, &o->job);
}
static void restore(XAVO_Proxy *sp, outcome *o) {
    XAVO_invoke_BackupRestore(sp, &o->code, "RestoreImage", &image, &o->job);
}
static void test_share(XAVO_Proxy *sp, outcome *o) { XAVO_invoke_TestNetworkShare(sp, &o->code, &share); }
static void list(XAVO_Proxy *sp, outcome *o) { o->jobs = XAVO_enumerate_VELK_LifecycleJob(sp, &o->code); }
static void get(XAVO_Proxy *sp, outcome *o) { o->jobs = XAVO_get_VELK_LifecycleJob(sp, &o->code, "JID_1"); }

/* ---- Measuring both ----------------------------------------------------------------------------- */

typedef void side(XAVO_Proxy *sp, outcome *o);

static const struct operation {
    const char *name;
    side *libxavo, *by_hand;
    int query;       /* changes nothing */
    int allocations; /* of libxavo besides the results: one for "WORKGROUP\USER" */
} OPERATIONS[] = {
    {"DeleteJobQueue", delete_job, delete_job_by_hand, 0, 0},
    {"SetupJobQueue", set_queue_up, set_queue_up_by_hand, 0, 0},
    {"InstallFromURI", install_uri, install_uri_by_hand, 0, 0},
    {"InstallFromSoftwareIdentity", install_identity, install_identity_by_hand, 0, 0},
    {"CreateRebootJob", reboot, reboot_by_hand, 0, 0},
    {"BackupImage", backup, backup_by_hand, 0, 0},
    {"RestoreImage", restore, restore_by_hand, 0, 0},
    {"TestNetworkShare", test_share, test_share_by_hand, 0, 1},
    {"get", get, get_by_hand, 1, 0},
    {"list", list, list_by_hand, 1, 0},
};
enum { OPERATION_COUNT = sizeof OPERATIONS / sizeof *OPERATIONS };

/* A fresh controller, on which every operation succeeds. */
static void prepare(unsigned int jobs) {
    cimsim_reset();
    cimsim_freeze_time(1);
    cimsim_set_job_limit(CIMSIM_NO_LIMIT);
    cimsim_add_software_identity(BIOS, "BIOS", "1.0");
    cimsim_add_share(image.ipaddr, image.sharename, image.shareType, image.uname, image.passwd);
    for (unsigned int i = 1; i <= jobs; ++i) {
        char id[16];
        snprintf(id, sizeof id, "JID_%u", i);
        cimsim_add_job(id, "benchmark", CIMSIM_NEVER, 1, 0);
        cimsim_set_job_property(id, "MessageArguments", cimsim_string("none"));
    }
}

static void check(const char *what, int holds) {
    if (!holds) {
        fprintf(stderr, "calls: %s\n", what);
        exit(1);
    }
}

static void end(outcome *o) {
    check("the call failed", o->code == XAVO_NO_ERROR);
    XAVO_free_ntstring(o->job);
    XAVO_free_list_VELK_LifecycleJob(o->jobs);
    *o = (outcome){0};
}

/* Callgrind counts only inside this function (--toggle-collect). */
void counted(side *run, XAVO_Proxy *sp, outcome *o);
__attribute__((noinline)) void counted(side *run, XAVO_Proxy *sp, outcome *o) { run(sp, o); }

/* Returns a trace of the calls into the client library that a side makes; the caller frees it. */
static char *trace_of(side *run, XAVO_Proxy *sp) {
    outcome o = {0};
    prepare(2);
    cimsim_trace(1);
    run(sp, &o);
    char *made = strdup(cimsim_traced());
    cimsim_trace(0);
    end(&o);
    check("the call left objects that nobody released", cimsim_owned() == 1); /* the client */
    return made;
}

static void same_calls(const struct operation *op, XAVO_Proxy *sp) {
    char *libxavo = trace_of(op->libxavo, sp), *by_hand = trace_of(op->by_hand, sp);
    if (strcmp(libxavo, by_hand) != 0)
        fprintf(stderr, "libxavo: %s\nby hand: %s\n", libxavo, by_hand);
    check("libxavo and the code by hand do not make the same calls", strcmp(libxavo, by_hand) == 0);
    free(libxavo);
    free(by_hand);
}

static double nanoseconds(side *run, XAVO_Proxy *sp) {
    struct timespec before, after;
    outcome o = {0};
    clock_gettime(CLOCK_MONOTONIC, &before);
    counted(run, sp, &o);
    clock_gettime(CLOCK_MONOTONIC, &after);
    end(&o);
    return (double)(after.tv_sec - before.tv_sec) * 1e9 + (double)(after.tv_nsec - before.tv_nsec);
}

/* The runs of one or both sides. */
typedef struct turns {
    side *sides[2];
    double *taken[2]; /* nanoseconds of each run */
    int count, times;
    unsigned int jobs;
    int query;
} turns;

/* Runs the sides alternately and stores the time of each run. Callgrind sets its counts to zero when this
 * begins (--zero-before). */
void repeat(const turns *t, XAVO_Proxy *sp);
__attribute__((noinline)) void repeat(const turns *t, XAVO_Proxy *sp) {
    for (int i = 0; i < t->times; ++i)
        for (int s = 0; s < t->count; ++s) {
            if (!t->query)
                prepare(t->jobs);
            t->taken[s][i] = nanoseconds(t->sides[s], sp);
        }
}

static int by_size(const void *left, const void *right) {
    const double a = *(const double *)left, b = *(const double *)right;
    return (a > b) - (a < b);
}

int main(int argc, char **argv) {
    if (argc == 1)
        for (int i = 0; i < OPERATION_COUNT; ++i)
            printf("%s %d %d\n", OPERATIONS[i].name, OPERATIONS[i].query, OPERATIONS[i].allocations);
    if (argc < 4)
        return argc == 1 ? 0 : 2;
    const struct operation *op = OPERATIONS;
    while (op < OPERATIONS + OPERATION_COUNT && strcmp(op->name, argv[1]) != 0)
        ++op;
    check("there is no such operation", op < OPERATIONS + OPERATION_COUNT);
    XAVO_Proxy *sp = XAVO_new();
    check("no handle could be opened", sp != NULL);

    turns t = {{op->libxavo, op->by_hand}, {NULL, NULL}, 1, (int)strtol(argv[3], NULL, 10), 10, op->query};
    if (argc > 4)
        t.jobs = (unsigned int)strtoul(argv[4], NULL, 10);
    if (strcmp(argv[2], "by-hand") == 0) {
        t.sides[0] = op->by_hand;
    } else if (strcmp(argv[2], "time") == 0) {
        t.count = 2;
        same_calls(op, sp);
    }
    /* The first call has costs of its own. */
    prepare(2);
    nanoseconds(t.sides[0], sp);
    prepare(t.jobs);
    for (int s = 0; s < t.count; ++s)
        t.taken[s] = calloc((size_t)t.times, sizeof(double));
    repeat(&t, sp);
    for (int s = 0; s < t.count; ++s) {
        if (t.count == 2) {
            qsort(t.taken[s], (size_t)t.times, sizeof(double), by_size);
            printf("%.0f\n", t.taken[s][t.times / 2]);
        }
        free(t.taken[s]);
    }
    XAVO_free(sp);
    return 0;
}
