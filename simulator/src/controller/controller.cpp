// controller.cpp - simulated time, jobs and their phases, and the answers to requests for instances.
#include "controller/controller.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>

namespace cimsim {

const char *const velk_namespace = "root/velk";
const char *const job_class = "VELK_LifecycleJob";
const char *const identity_class = "VELK_SoftwareIdentity";

// ---- Time ---------------------------------------------------------------------------------------

namespace {

Milliseconds wall_clock() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(since).count();
}

} // namespace

Milliseconds Clock::now() const { return frozen_ ? *frozen_ : wall_clock() + ahead_; }

void Clock::freeze(bool on) {
    const Milliseconds time = now();
    frozen_.reset();
    if (on)
        frozen_ = time;
    else
        ahead_ = time - wall_clock(); // continues from the frozen time, so that no job changes its phase
}

void Clock::advance(Milliseconds time) { (frozen_ ? *frozen_ : ahead_) += time; }

std::string format_time(Milliseconds time) {
    const auto seconds = static_cast<std::time_t>(time / 1000);
    std::tm parts;
    gmtime_r(&seconds, &parts);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y%m%d%H%M%S", &parts)};
}

std::optional<Milliseconds> parse_time(const std::string &text, Milliseconds now) {
    if (text == "NOW")
        return now;
    std::tm parts = {};
    const char *end = text.size() == 14 ? strptime(text.c_str(), "%4Y%2m%2d%2H%2M%2S", &parts) : nullptr;
    if (!end || *end != '\0')
        return std::nullopt;
    const Milliseconds time = Milliseconds{timegm(&parts)} * 1000;
    // A day that the month does not have is converted to another date.
    return format_time(time) == text ? std::optional<Milliseconds>(time) : std::nullopt;
}

// ---- Jobs ---------------------------------------------------------------------------------------

namespace {

struct PhaseFacts {
    const char *status, *message_id, *message;
};

const PhaseFacts phases[] = {
    {"New", "JOB001", "The job waits for a queue."},
    {"Scheduled", "JOB002", "The job is scheduled."},
    {"Running", "JOB003", "The job is running."},
    {"Completed", "JOB004", "The job completed successfully."},
    {"Failed", "JOB005", "The job failed."},
};

const PhaseFacts &facts(Phase phase) { return phases[static_cast<std::size_t>(phase)]; }

} // namespace

const char *status_name(Phase phase) { return facts(phase).status; }

Milliseconds Job::end() const { return *start + (fails ? runs / 2 : runs); }

Phase Job::phase(Milliseconds now) const {
    if (!start)
        return Phase::unscheduled;
    if (now < *start)
        return Phase::scheduled;
    if (now < end())
        return Phase::running;
    return fails ? Phase::failed : Phase::completed;
}

unsigned int Job::percent(Milliseconds now) const {
    switch (phase(now)) {
    case Phase::running:
        return static_cast<unsigned int>((now - *start) * 100 / runs);
    case Phase::completed:
        return 100;
    case Phase::failed:
        return 50;
    default:
        return 0;
    }
}

Job *Controller::find_job(const std::string &id) {
    const auto found = job_numbers.find(id);
    return found == job_numbers.end() ? nullptr : &jobs.at(found->second);
}

Job *Controller::add_job(Job job) {
    if (!job_numbers.emplace(job.id, last_number + 1).second)
        return nullptr;
    if (const auto found = future_overrides.find(job.id); found != future_overrides.end()) {
        job.overrides = std::move(found->second);
        future_overrides.erase(found);
    }
    return &jobs.emplace(++last_number, std::move(job)).first->second;
}

Overrides &Controller::overrides_of(const std::string &id) {
    Job *job = find_job(id);
    return job ? job->overrides : future_overrides[id];
}

bool Controller::add_class(AddedClass new_class) {
    if (find_class(*this, new_class.name))
        return false;
    added.push_back(std::move(new_class));
    return true;
}

bool Controller::add_instance(const std::string &class_name, std::vector<Item> items) {
    for (AddedClass &candidate : added)
        if (same_name(candidate.name.c_str(), class_name.c_str())) {
            for (const std::string &key : candidate.keys)
                if (std::none_of(items.begin(), items.end(),
                                 [&](const Item &item) { return same_name(item.name.c_str(), key.c_str()); }))
                    return false;
            candidate.instances.push_back(std::move(items));
            return true;
        }
    return false;
}

void Controller::remove_job(const std::string &id) {
    const auto found = job_numbers.find(id);
    if (found == job_numbers.end())
        return;
    jobs.erase(found->second);
    job_numbers.erase(found);
}

std::string Controller::new_id() {
    std::string id;
    do {
        id = "JID_" + std::to_string(++last_id);
    } while (find_job(id));
    return id;
}

void Controller::load_demo() {
    // None is running, so that a first program can schedule or delete any of them.
    const char *const names[] = {"Update of the BIOS", "Update of a network card", "Nightly restart"};
    for (const char *name : names) {
        Job job;
        job.id = new_id();
        job.name = name;
        job.runs = 10'000;
        if (name == names[2]) {
            job.start = clock.now() + 3'600'000;
            job.start_text = format_time(*job.start);
        }
        add_job(std::move(job));
    }
    identities.push_back({"IDENTITY:BIOS", "BIOS", "2.19.1"});
    identities.push_back({"IDENTITY:NIC", "Network card", "22.31.6"});
    shares.push_back({"192.0.2.10", "backups", 2, "operator", "secret"});
    shares.push_back({"192.0.2.10", "public", 0, std::nullopt, ""});
}

// ---- Instances ----------------------------------------------------------------------------------

namespace {

// Checks the namespace and the class of a path. Returns the failure, or nullopt.
std::optional<Answer> check_class(Controller &controller, const Contents &path) {
    if (!same_name(path.name_space.c_str(), velk_namespace))
        return failed(CMPI_RC_ERR_INVALID_NAMESPACE, "There is no namespace \"" + path.name_space + "\".");
    if (find_class(controller, path.class_name))
        return std::nullopt;
    return failed(CMPI_RC_ERR_INVALID_CLASS, "There is no class \"" + path.class_name + "\".");
}

} // namespace

Answer failed(CMPIrc rc, const std::string &message) {
    Answer answer;
    answer.rc = rc;
    answer.message = message;
    answer.result.state = CMPI_notFound;
    return answer;
}

Value reference(const char *class_name, const std::string &id) {
    Value path = Value::with_contents(CMPI_ref, Kind::path);
    path.contents->name_space = velk_namespace;
    path.contents->class_name = class_name;
    path.contents->items.push_back({"InstanceID", Value::string(id)});
    return path;
}

Value job_instance(const Job &job, Milliseconds now) {
    const Phase phase = job.phase(now);
    const bool ended = phase == Phase::completed || phase == Phase::failed;
    Value instance = instance_of(job_class);
    auto &items = instance.contents->items;
    items.reserve(10);
    items.push_back({"InstanceID", Value::string(job.id)});
    items.push_back(
        {"ElapsedTimeSinceCompletion", Value::string(std::to_string(ended ? (now - job.end()) / 1000 : 0))});
    items.push_back({"PercentComplete", Value::string(std::to_string(job.percent(now)))});
    items.push_back({"JobUntilTime", Value::string(job.until_text)});
    items.push_back({"JobStartTime", Value::string(job.start_text)});
    items.push_back({"MessageArguments", Value::null(CMPI_string)});
    const bool has_message = phase == Phase::failed && !job.failure.empty();
    items.push_back({"Message", Value::string(has_message ? job.failure : facts(phase).message)});
    items.push_back({"MessageID", Value::string(facts(phase).message_id)});
    items.push_back({"JobStatus", Value::string(facts(phase).status)});
    items.push_back({"Name", Value::string(job.name)});
    for (const auto &[name, value] : job.overrides) {
        if (value) {
            instance.contents->put(name.c_str(), *value, value->type);
            continue;
        }
        for (auto item = items.begin(); item != items.end(); ++item)
            if (same_name(item->name.c_str(), name.c_str())) {
                items.erase(item);
                break;
            }
    }
    return instance;
}

Answer Controller::get_class(const Contents &path) {
    if (auto wrong = check_class(*this, path))
        return failed(wrong->rc == CMPI_RC_ERR_INVALID_CLASS ? CMPI_RC_ERR_NOT_FOUND : wrong->rc,
                      *wrong->message);
    Answer answer;
    answer.result = Value::with_contents(CMPI_class, Kind::const_class);
    answer.result.contents->name_space = path.name_space;
    answer.result.contents->class_name = path.class_name;
    return answer;
}

Answer Controller::enumerate(const Contents &path) {
    if (auto wrong = check_class(*this, path))
        return *wrong;
    Answer answer;
    answer.result = Value::with_contents(CMPI_enumeration, Kind::enumeration);
    answer.result.contents->elements = find_class(*this, path.class_name)->list();
    return answer;
}

Answer Controller::get(const Contents &path) {
    if (auto wrong = check_class(*this, path))
        return *wrong;
    std::optional<Value> instance = find_class(*this, path.class_name)->find(path);
    if (!instance)
        return failed(CMPI_RC_ERR_NOT_FOUND, "There is no such instance of " + path.class_name + ".");
    Answer answer;
    answer.result = std::move(*instance);
    return answer;
}

Answer Controller::invoke(const Contents &path, const char *method, const Contents &arguments) {
    if (Answer found = get(path); found.rc != CMPI_RC_OK)
        return found;
    if (const Service *service = find_service(path.class_name))
        return call_service(*service, *this, method, arguments);
    return failed(CMPI_RC_ERR_METHOD_NOT_FOUND, path.class_name + " has no methods.");
}

} // namespace cimsim
