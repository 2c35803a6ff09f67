// services.cpp - the controller's services: their methods, and the messages with which they refuse requests.
#include "controller/controller.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace cimsim {

namespace {

// ---- Arguments and answers ----------------------------------------------------------------------

struct Arguments {
    const Contents &given;

    const Value *find(const char *name) const {
        const Item *item = given.find(name);
        return item && item->value.state == CMPI_goodValue ? &item->value : nullptr;
    }
    bool has(const char *name) const { return !text(name).empty(); }
    std::string text(const char *name) const {
        const Value *value = find(name);
        return value ? to_text(*value) : std::string();
    }
    // A number. The client library has converted digits that were given as text.
    std::optional<CMPIUint64> number(const char *name) const {
        const Value *value = find(name);
        return value && value->kind == Kind::number ? whole_number(to_text(*value), ~0ULL) : std::nullopt;
    }
};

Answer returns(unsigned int value) {
    Answer answer;
    answer.result = Value::number(CMPI_uint32, value);
    return answer;
}

constexpr unsigned int return_refused = 2;
constexpr unsigned int return_job_started = 4096; // the parameters were checked, and a job was started

// The message of a refused request, and its identifier; {} is replaced by the value that was refused.
struct Refusal {
    const char *id, *message;
};
constexpr Refusal job_unknown{"JQ001", "There is no job {}."};
constexpr Refusal job_running{"JQ002", "Job {} is running and cannot be deleted."};
constexpr Refusal job_not_waiting{"JQ003", "Job {} has been started before and cannot be scheduled."};
constexpr Refusal queue_start{"JQ004", "The start time {} is not valid."};
constexpr Refusal queue_until{"JQ005", "The until time {} is not valid or is before the start time."};
constexpr Refusal queue_parameter{"JQ006", "The parameter {} is missing."};
constexpr Refusal uri_scheme{"SWI001", "The controller does not support the scheme of the URI."};
constexpr Refusal reboot_type{"SWI002", "There is no reboot job of type {}."};
constexpr Refusal share_parameter{"QM016", "The parameter {} is missing."};
constexpr Refusal share_value{"QM017", "The value of {} is not valid."};
constexpr Refusal share_unreachable{"QM023", "The share on {} cannot be reached."};
constexpr Refusal backup_scheduled{"QM051", "Another backup job is scheduled already."};
constexpr Refusal restore_scheduled{"QM052", "Another restore job is scheduled already."};
constexpr Refusal image_start{"WUD017", "The start time {} is not valid."};
constexpr Refusal image_until{"WUD018", "The until time {} is not valid or is before the start time."};
constexpr Refusal too_many_jobs{"KTB017", "The controller holds as many jobs as it can."};
constexpr Refusal backup_running{"KTB018", "A backup is running."};
constexpr Refusal restore_running{"KTB019", "A restore is running."};
constexpr Refusal locked_down{"PXN095", "The system is in lockdown mode."};

Answer refuse(const Refusal &refusal, const std::string &about = {}) {
    std::string message = refusal.message;
    if (const auto place = message.find("{}"); place != std::string::npos)
        message.replace(place, 2, about);
    Answer answer = returns(return_refused);
    answer.outputs.push_back({"MessageID", Value::string(refusal.id)});
    answer.outputs.push_back({"Message", Value::string(message)});
    return answer;
}

Answer started(const char *output, const Job &job) {
    Answer answer = returns(return_job_started);
    answer.outputs.push_back({output, reference(job_class, job.id)});
    return answer;
}

// The start and until times of a job: SetupJobQueue and the image methods have the same rules.
struct Schedule {
    std::optional<Milliseconds> start;
    bool until_is_good;
};

Schedule read_schedule(const std::string &start, const std::string &until, Milliseconds now) {
    Schedule schedule{parse_time(start, now), until.empty()};
    // A time in text form has whole seconds. A time in the current second is not in the past.
    if (schedule.start && *schedule.start + 1000 <= now)
        schedule.start.reset();
    if (const auto end = parse_time(until, now); end && schedule.start)
        schedule.until_is_good = *end >= *schedule.start;
    return schedule;
}

Job &start_job(Controller &controller, std::string name, Milliseconds runs) {
    Job job;
    job.id = controller.new_id();
    job.name = std::move(name);
    job.start = controller.clock.now();
    job.start_text = "NOW";
    job.runs = runs;
    if (!controller.next_jobs.empty()) {
        const NextJob &next = controller.next_jobs.front();
        job.runs = next.runs.value_or(runs);
        job.fails = next.fails;
        job.failure = next.message.value_or("");
        controller.next_jobs.pop_front();
    }
    return *controller.add_job(std::move(job));
}

// ---- VELK_JobService ----------------------------------------------------------------------------

Answer delete_job_queue(Controller &controller, const Arguments &arguments) {
    if (!arguments.has("JobID"))
        return refuse(queue_parameter, "JobID");
    const std::string id = arguments.text("JobID");
    const Job *job = controller.find_job(id);
    if (!job)
        return refuse(job_unknown, id);
    if (job->phase(controller.clock.now()) == Phase::running)
        return refuse(job_running, id);
    controller.remove_job(id);
    return returns(0);
}

Answer setup_job_queue(Controller &controller, const Arguments &arguments) {
    const Value *array = arguments.find("JobArray");
    if (!array || array->kind != Kind::array || array->contents->elements.empty())
        return refuse(queue_parameter, "JobArray");
    if (!arguments.find("StartTimeInterval"))
        return refuse(queue_parameter, "StartTimeInterval");
    const Milliseconds now = controller.clock.now();
    const std::string start = arguments.text("StartTimeInterval"), until = arguments.text("UntilTime");
    const Schedule schedule = read_schedule(start, until, now);
    if (!schedule.start)
        return refuse(queue_start, start);
    if (!schedule.until_is_good)
        return refuse(queue_until, until);

    std::vector<Job *> queue; // either all jobs are scheduled or none
    for (const Value &element : array->contents->elements) {
        Job *job = controller.find_job(to_text(element));
        if (!job)
            return refuse(job_unknown, to_text(element));
        if (job->phase(now) != Phase::unscheduled && job->phase(now) != Phase::scheduled)
            return refuse(job_not_waiting, job->id);
        queue.push_back(job);
    }
    for (Job *job : queue) {
        job->start = schedule.start;
        job->start_text = start;
        job->until_text = until;
    }
    return returns(0);
}

// ---- VELK_SoftwareInstallationService -----------------------------------------------------------

Answer install(Controller &controller, const Arguments &arguments, bool from_uri) {
    if (from_uri && !arguments.find("URI"))
        return failed(CMPI_RC_ERR_INVALID_PARAMETER, "The parameter URI is missing.");
    const Value *target = arguments.find("Target");
    if (!target || target->kind != Kind::path)
        return failed(CMPI_RC_ERR_INVALID_PARAMETER,
                      "The parameter Target is missing or is not a reference.");
    const Answer found = controller.get(*target->contents);
    if (found.rc != CMPI_RC_OK || !same_name(target->contents->class_name.c_str(), identity_class))
        return failed(CMPI_RC_ERR_NOT_FOUND, "There is no software " + to_text(*target) + ".");
    if (from_uri) {
        const std::string uri = arguments.text("URI");
        const auto scheme_end = uri.find("://");
        const std::string scheme = scheme_end == std::string::npos ? "" : uri.substr(0, scheme_end);
        const char *const known[] = {"http", "https", "ftp", "tftp", "nfs", "cifs"};
        if (std::none_of(std::begin(known), std::end(known),
                         [&](const char *name) { return same_name(name, scheme.c_str()); }))
            return refuse(uri_scheme, uri);
    }
    if (controller.lockdown)
        return refuse(locked_down);
    if (controller.full())
        return refuse(too_many_jobs);
    const std::string name = "Install: " + found.result.contents->find("InstanceID")->value.text;
    return started("Job", start_job(controller, name, 3'000));
}

Answer install_from_uri(Controller &controller, const Arguments &arguments) {
    return install(controller, arguments, true);
}

Answer install_from_software_identity(Controller &controller, const Arguments &arguments) {
    return install(controller, arguments, false);
}

Answer create_reboot_job(Controller &controller, const Arguments &arguments) {
    const char *const names[] = {"Graceful reboot", "Forced reboot"};
    const auto type = arguments.number("RebootJobType");
    if (!type || *type < 1 || *type > 2)
        return refuse(reboot_type, arguments.text("RebootJobType"));
    if (controller.lockdown)
        return refuse(locked_down);
    if (controller.full())
        return refuse(too_many_jobs);
    return started("RebootJobID", start_job(controller, names[*type - 1], 3'000));
}

// ---- VELK_QMService -----------------------------------------------------------------------------

// The valid share types, and what each needs.
struct ShareType {
    unsigned int type;
    bool remote, needs_name;
};
constexpr ShareType share_types[] = {
    {0, true, true}, {2, true, true}, {4, false, false}, {5, true, false}, {6, true, false}};

// Whether the given name is this user's, with or without a domain: "operator", "WORKGROUP\operator".
bool is_user(const std::string &given, const std::string &user) {
    const auto backslash = given.find('\\');
    return given == user || (backslash != std::string::npos && given.substr(backslash + 1) == user);
}

// Checks the share that a request names. Returns the refusal, or nullopt if the share can be used.
std::optional<Answer> check_share(const Controller &controller, const Arguments &arguments, bool for_image) {
    if (!arguments.find("ShareType"))
        return refuse(share_parameter, "ShareType");
    const auto number = arguments.number("ShareType");
    const ShareType *type = nullptr;
    for (const ShareType &known : share_types)
        if (number && known.type == *number && (known.remote || for_image))
            type = &known;
    if (!type)
        return refuse(share_value, "ShareType");
    if (!type->remote)
        return std::nullopt;
    if (!arguments.has("IPAddress"))
        return refuse(share_parameter, "IPAddress");
    if (type->needs_name && !arguments.has("ShareName"))
        return refuse(share_parameter, "ShareName");

    const std::string address = arguments.text("IPAddress"), name = arguments.text("ShareName");
    for (const Share &share : controller.shares) {
        if (share.address != address || share.type != type->type || (!name.empty() && share.name != name))
            continue;
        // A share test needs credentials for type 2 only: its requests have none for the other types.
        const bool needs_credentials = share.user && (for_image || type->type == 2);
        if (!needs_credentials || (is_user(arguments.text("UserName"), *share.user) &&
                                   arguments.text("Password") == share.password))
            return std::nullopt;
        return refuse(share_value, "UserName or Password");
    }
    return refuse(share_unreachable, address);
}

// A backup or restore is refused while either is running, or while one of the same kind is scheduled.
std::optional<Answer> check_other_jobs(const Controller &controller, Task task, Milliseconds now) {
    for (const auto &[number, job] : controller.jobs) {
        if (job.task == Task::other)
            continue;
        if (job.phase(now) == Phase::running)
            return refuse(job.task == Task::backup ? backup_running : restore_running);
        if (job.phase(now) == Phase::scheduled && job.task == task)
            return refuse(task == Task::backup ? backup_scheduled : restore_scheduled);
    }
    return std::nullopt;
}

Answer start_image_job(Controller &controller, const Arguments &arguments, Task task) {
    if (controller.lockdown)
        return refuse(locked_down);
    if (!arguments.has("ScheduledStartTime"))
        return refuse(share_parameter, "ScheduledStartTime");
    const Milliseconds now = controller.clock.now();
    const std::string start = arguments.text("ScheduledStartTime"), until = arguments.text("UntilTime");
    const Schedule schedule = read_schedule(start, until, now);
    if (!schedule.start)
        return refuse(image_start, start);
    if (!schedule.until_is_good)
        return refuse(image_until, until);
    if (auto wrong = check_share(controller, arguments, true))
        return *wrong;
    const bool remote = arguments.number("ShareType") != 4u;
    if (remote && !arguments.has("ImageName"))
        return refuse(share_parameter, "ImageName");
    if (auto wrong = check_other_jobs(controller, task, now))
        return *wrong;
    if (controller.full())
        return refuse(too_many_jobs);

    std::string name = arguments.text("JobName");
    if (name.empty())
        name = task == Task::backup ? "Backup of the image" : "Restore of the image";
    Job &job = start_job(controller, name, 5'000);
    job.task = task;
    job.start = schedule.start;
    job.start_text = start;
    job.until_text = until;
    return started("Job", job);
}

Answer backup_image(Controller &controller, const Arguments &arguments) {
    return start_image_job(controller, arguments, Task::backup);
}

Answer restore_image(Controller &controller, const Arguments &arguments) {
    return start_image_job(controller, arguments, Task::restore);
}

Answer test_network_share(Controller &controller, const Arguments &arguments) {
    const auto wrong = check_share(controller, arguments, false);
    return wrong ? *wrong : returns(0);
}

} // namespace

// ---- The services -------------------------------------------------------------------------------

struct Service {
    const char *class_name, *system_name, *name;
    struct Method {
        const char *name;
        Answer (*answer)(Controller &, const Arguments &);
    };
    std::vector<Method> methods;
    std::vector<const char *> integers; // parameters of type uint16, of all methods

    std::vector<Item> keys() const {
        return {{"CreationClassName", Value::string(class_name)},
                {"SystemCreationClassName", Value::string("VELK_ComputerSystem")},
                {"SystemName", Value::string(system_name)},
                {"Name", Value::string(name)}};
    }
};

namespace {

const Service services[] = {
    {"VELK_JobService",
     "Tavix",
     "JobService",
     {{"DeleteJobQueue", delete_job_queue}, {"SetupJobQueue", setup_job_queue}},
     {}},
    {"VELK_SoftwareInstallationService",
     "TAVIX:ID",
     "SoftwareUpdate",
     {{"InstallFromURI", install_from_uri},
      {"InstallFromSoftwareIdentity", install_from_software_identity},
      {"CreateRebootJob", create_reboot_job}},
     {"RebootJobType"}},
    {"VELK_QMService",
     "VELK:ComputerSystem",
     "VELK:QMService",
     {{"BackupImage", backup_image},
      {"RestoreImage", restore_image},
      {"TestNetworkShare", test_network_share}},
     {"ShareType", "ProxySupport", "ProxyType", "IgnoreCertWarning", "PreserveVDConfig",
      "CheckBackupDestinationAvailability"}},
};

} // namespace

const Service *find_service(const std::string &class_name) {
    for (const Service &service : services)
        if (same_name(service.class_name, class_name.c_str()))
            return &service;
    return nullptr;
}

bool is_integer_parameter(const std::string &class_name, const std::string &name) {
    const Service *const service = find_service(class_name);
    return service && std::any_of(service->integers.begin(), service->integers.end(),
                                  [&](const char *integer) { return same_name(integer, name.c_str()); });
}

Value service_instance(const Service &service) {
    Value instance = Value::with_contents(CMPI_instance, Kind::instance);
    instance.contents->name_space = velk_namespace;
    instance.contents->class_name = service.class_name;
    instance.contents->items = service.keys();
    return instance;
}

Answer call_service(const Service &service, Controller &controller, const char *method,
                    const Contents &arguments) {
    for (const Service::Method &known : service.methods)
        if (same_name(known.name, method))
            return known.answer(controller, Arguments{arguments});
    return failed(CMPI_RC_ERR_METHOD_NOT_FOUND,
                  std::string(service.class_name) + " has no method \"" + method + "\".");
}

} // namespace cimsim
