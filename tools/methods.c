/* methods.c - the arguments that the services' methods get, for dry runs and for the checks of a command
 * line. */
#include "output/json.h"
#include "output/output.h"
#include "xavoctl.h"

#include <stdlib.h>
#include <string.h>

/* ---- Arguments of the methods that take a record ------------------------------------------------------ */

/* Share types, as bits. */
enum { ON_SERVER = 0x65, WITH_USER = 0x64, WITH_DOMAIN = 0x04, OVER_HTTP = 0x60, EVERY = 0x75 };

struct argument {
    const char *name;
    enum { A_TEXT, A_USER, A_SECRET, A_NUMBER, A_FLAG } kind;
    enum { IF_SET, ALWAYS } when; /* empty texts and zeros, too, or not */
    unsigned int types;           /* the share types that it is sent with */
    size_t offset;                /* inside a request */
};

#define AT(member) offsetof(struct request, member)
/* clang-format off */
/* `http` is where the record has the member of that name. */
#define HTTP(member) offsetof(XAVO_HTTP_SHARE_OPT_DATA, member)
#define HTTP_ARGUMENTS(http) \
    {"ProxySupport", A_NUMBER, IF_SET, OVER_HTTP, (http) + HTTP(proxySupport)}, \
    {"ProxyType", A_NUMBER, IF_SET, OVER_HTTP, (http) + HTTP(proxyType)}, \
    {"ProxyServer", A_TEXT, IF_SET, OVER_HTTP, (http) + HTTP(proxyServer)}, \
    {"ProxyUname", A_TEXT, IF_SET, OVER_HTTP, (http) + HTTP(proxyUname)}, \
    {"ProxyPasswd", A_SECRET, IF_SET, OVER_HTTP, (http) + HTTP(proxyPasswd)}, \
    {"ProxyPort", A_TEXT, IF_SET, OVER_HTTP, (http) + HTTP(proxyPort)}, \
    {"IgnoreCertWarning", A_NUMBER, IF_SET, OVER_HTTP, (http) + HTTP(ignoreCertWarning)}

static const struct argument image_arguments[] = {
    {"IPAddress", A_TEXT, ALWAYS, ON_SERVER, AT(image.ipaddr)},
    {"ShareName", A_TEXT, IF_SET, ON_SERVER, AT(image.sharename)},
    {"ImageName", A_TEXT, ALWAYS, ON_SERVER, AT(image.imagename)},
    {"UserName", A_TEXT, IF_SET, WITH_USER, AT(image.uname)},
    {"Password", A_SECRET, IF_SET, WITH_USER, AT(image.passwd)},
    {"Passphrase", A_SECRET, IF_SET, EVERY, AT(image.passphrase)},
    {"UntilTime", A_TEXT, IF_SET, EVERY, AT(image.untilTime)},
    {"ScheduledStartTime", A_TEXT, ALWAYS, EVERY, AT(image.startTime)},
    {"PreserveVDConfig", A_FLAG, ALWAYS, EVERY, AT(image.preserveVDConfig)},
    HTTP_ARGUMENTS(AT(image.http)),
    {"ShareType", A_NUMBER, ALWAYS, EVERY, AT(image.shareType)},
    {"JobName", A_TEXT, IF_SET, EVERY, AT(image.JobName)},
    {"CheckBackupDestinationAvailability", A_NUMBER, IF_SET, EVERY, AT(image.checkBackupDestinationAvailability)},
    {0},
};

static const struct argument share_arguments[] = {
    {"IPAddress", A_TEXT, ALWAYS, EVERY, AT(share.ipaddr)},
    {"ShareName", A_TEXT, IF_SET, EVERY, AT(share.sharename)},
    {"UserName", A_USER, ALWAYS, WITH_DOMAIN, AT(share.uname)},
    {"Password", A_SECRET, ALWAYS, WITH_DOMAIN, AT(share.passwd)},
    {"Workgroup", A_TEXT, ALWAYS, WITH_DOMAIN, AT(share.workgroup)},
    HTTP_ARGUMENTS(AT(share.http)),
    {"ShareType", A_NUMBER, ALWAYS, EVERY, AT(share.shareType)},
    {0},
};
/* clang-format on */

static bool is_number(const struct argument *argument) { return argument->kind >= A_NUMBER; }

static unsigned int number_of(const struct argument *argument, const struct request *request) {
    uint16_t number;
    memcpy(&number, (const char *)request + argument->offset, sizeof number);
    return number;
}

static const char *text_of(const struct argument *argument, const struct request *request) {
    return (const char *)request + argument->offset;
}

static bool is_set(const struct argument *argument, const struct request *request) {
    return is_number(argument) ? number_of(argument, request) != 0 : *text_of(argument, request) != '\0';
}

/* ---- Checks of a command line -------------------------------------------------------------------------- */

/* The option that fills in an argument, if it was given; NULL otherwise. */
static const struct option_row *given_option(const struct argument *argument, const struct request *request) {
    for (int i = 0; i < request->secret_count; ++i)
        if (request->secrets[i].option->offset == argument->offset)
            return request->secrets[i].option;
    const struct option_row *option = NULL;
    while ((option = next_option(request->command, option)) != NULL && option->offset != argument->offset)
        ;
    return is_set(argument, request) ? option : NULL;
}

void check_share(struct request *request) {
    const bool test = request->command == &test_share_command;
    const unsigned int type = test ? request->share.shareType : request->image.shareType;
    const unsigned int bit = type < 16 ? 1U << type : 0;
    const struct argument *arguments = test ? share_arguments : image_arguments;
    if ((bit & (test ? ON_SERVER : EVERY)) == 0)
        complain(request, "--share-type %u is not valid here (0, 2, %s5 or 6)", type, test ? "" : "4, ");
    else if ((bit & ON_SERVER) != 0 && !is_set(arguments, request))
        complain(request, "--share-type %u needs --address", type);
    for (; arguments->name != NULL && request->complaint[0] == '\0'; ++arguments) {
        const struct option_row *option = given_option(arguments, request);
        if (option != NULL && (arguments->types & bit) == 0)
            (void)fprintf(stderr, "xavoctl: --%s is not sent with --share-type %u\n", option->name, type);
    }
}

/* ---- Dry runs ------------------------------------------------------------------------------------------ */

void plan_call(struct run *run, const XAVO_Request *request) {
    XAVO_Request *longer = realloc(run->planned, (run->planned_count + 1) * sizeof *longer);
    if (longer == NULL) {
        out_of_memory = true;
        return;
    }
    run->planned = longer;
    run->planned[run->planned_count++] = *request;
}

static const struct {
    int operation;
    const char *service, *method;
} methods[] = {
    {XAVO_OP_DELETE_JOB, "VELK_JobService", "DeleteJobQueue"},
    {XAVO_OP_SETUP_JOB_QUEUE, "VELK_JobService", "SetupJobQueue"},
    {XAVO_OP_INSTALL_FROM_URI, "VELK_SoftwareInstallationService", "InstallFromURI"},
    {XAVO_OP_INSTALL_FROM_SOFTWARE_IDENTITY, "VELK_SoftwareInstallationService",
     "InstallFromSoftwareIdentity"},
    {XAVO_OP_CREATE_REBOOT_JOB, "VELK_SoftwareInstallationService", "CreateRebootJob"},
    {XAVO_OP_BACKUP_IMAGE, "VELK_QMService", "BackupImage"},
    {XAVO_OP_RESTORE_IMAGE, "VELK_QMService", "RestoreImage"},
    {XAVO_OP_TEST_NETWORK_SHARE, "VELK_QMService", "TestNetworkShare"},
};

/* Takes an argument: a text, which a number is, too; or a list. */
struct visitor {
    void (*visit)(struct visitor *, const char *name, const char *text, bool number, char *const *list);
    struct json_object *object; /* of a visitor that makes a document */
};

static void visit_text(struct visitor *visitor, const char *name, const char *text) {
    if (text != NULL)
        visitor->visit(visitor, name, text, false, NULL);
}

static void visit_number(struct visitor *visitor, const char *name, unsigned long number) {
    char text[24];
    (void)snprintf(text, sizeof text, "%lu", number);
    visitor->visit(visitor, name, text, true, NULL);
}

static void visit_user(struct visitor *visitor, const char *name, const XAVO_NET_INPUT_DATA *share) {
    char text[sizeof share->workgroup + sizeof share->uname];
    const bool both = share->workgroup[0] != '\0' && share->uname[0] != '\0';
    (void)snprintf(text, sizeof text, "%s%s%s", both ? share->workgroup : "", both ? "\\" : "", share->uname);
    visit_text(visitor, name, text);
}

/* The arguments of a record. Its secrets may have been wiped. */
static void visit_record(struct visitor *visitor, const struct request *request,
                         const struct argument *argument, unsigned int type) {
    for (; argument->name != NULL; ++argument) {
        const bool secret = argument->kind == A_SECRET && given_option(argument, request) != NULL;
        if ((argument->types >> type & 1) == 0 ||
            (argument->when == IF_SET && !secret && !is_set(argument, request)) ||
            (argument->kind == A_FLAG && request->command != &restore_command))
            continue;
        if (is_number(argument))
            visit_number(visitor, argument->name, number_of(argument, request));
        else if (argument->kind == A_USER)
            visit_user(visitor, argument->name, &request->share);
        else
            visit_text(visitor, argument->name, secret ? "(hidden)" : text_of(argument, request));
    }
}

static void visit_arguments(struct visitor *visitor, const struct request *request,
                            const XAVO_Request *call) {
    char *target = NULL;
    switch (call->operation) {
    case XAVO_OP_DELETE_JOB:
        visit_text(visitor, "JobID", call->id);
        break;
    case XAVO_OP_SETUP_JOB_QUEUE:
        visit_text(visitor, "StartTimeInterval", call->start_time);
        visit_text(visitor, "UntilTime", call->until_time);
        visitor->visit(visitor, "JobArray", NULL, false, call->job_ids);
        break;
    case XAVO_OP_CREATE_REBOOT_JOB:
        visit_number(visitor, "RebootJobType", strtoul(call->reboot_type, NULL, 10));
        break;
    case XAVO_OP_TEST_NETWORK_SHARE:
        visit_record(visitor, request, share_arguments, request->share.shareType);
        break;
    case XAVO_OP_BACKUP_IMAGE:
    case XAVO_OP_RESTORE_IMAGE:
        visit_record(visitor, request, image_arguments, request->image.shareType);
        break;
    default: /* the installations */
        visit_text(visitor, "URI", call->uri);
        if (asprintf(&target, "root/velk:VELK_SoftwareIdentity.InstanceID=\"%s\"", call->id) >= 0)
            visit_text(visitor, "Target", target);
        else
            out_of_memory = true;
        free(target);
    }
}

static void print_argument(struct visitor *visitor, const char *name, const char *text, bool number,
                           char *const *list) {
    (void)visitor, (void)number;
    (void)printf("  %-34s  ", name);
    for (; list != NULL && *list != NULL; ++list) {
        put_visible(stdout, *list);
        if (list[1] != NULL)
            (void)putchar(' ');
    }
    put_line(stdout, text);
}

static void set_argument(struct visitor *visitor, const char *name, const char *text, bool number,
                         char *const *list) {
    struct json_object *array = list != NULL ? json_array(visitor->object, name) : NULL;
    for (; list != NULL && *list != NULL; ++list)
        json_append(array, json_text(*list));
    if (number)
        json_set_number(visitor->object, name, (int64_t)strtoul(text, NULL, 10));
    else if (text != NULL)
        json_set_text(visitor->object, name, text);
}

static size_t find_method(int operation) {
    size_t i = 0;
    while (methods[i].operation != operation)
        ++i;
    return i;
}

void print_plan(const struct run *run) {
    struct visitor visitor = {print_argument, NULL};
    for (const XAVO_Request *call = run->planned; call < run->planned + run->planned_count; ++call) {
        const size_t method = find_method(call->operation);
        (void)printf("%s.%s\n", methods[method].service, methods[method].method);
        visit_arguments(&visitor, &run->request, call);
    }
}

void plan_to_json(const struct run *run, struct json_object *document) {
    struct json_object *calls = json_array(document, "calls");
    for (const XAVO_Request *call = run->planned; call < run->planned + run->planned_count; ++call) {
        const size_t method = find_method(call->operation);
        struct json_object *entry = json_new();
        struct visitor visitor = {set_argument, json_new()};
        json_set_text(entry, "class", methods[method].service);
        json_set_text(entry, "method", methods[method].method);
        visit_arguments(&visitor, &run->request, call);
        json_set(entry, "arguments", visitor.object);
        json_append(calls, entry);
    }
}
