// controller.h - the simulated controller: its clock, its jobs, its other data, and its services.
#ifndef CIMSIM_CONTROLLER_H
#define CIMSIM_CONTROLLER_H

#include "controller/answer.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <unordered_map>

namespace cimsim {

using Milliseconds = std::int64_t; // a duration; or a point in simulated time, as the time since 1970

// Simulated time: the wall clock plus an offset, or frozen.
class Clock {
public:
    Milliseconds now() const;
    bool is_frozen() const { return frozen_.has_value(); }
    void freeze(bool on);
    void advance(Milliseconds time);
    Milliseconds ahead() const { return ahead_; } // offset from the wall clock
    void set_ahead(Milliseconds time) {
        frozen_.reset();
        ahead_ = time;
    }
    void freeze_at(Milliseconds time) { frozen_ = time; }

private:
    Milliseconds ahead_ = 0;
    std::optional<Milliseconds> frozen_;
};

// Both convert a time between the form of the services, "NOW" or yyyymmddhhmmss in UTC, and a number.
// parse_time returns nullopt if the text has neither form.
std::optional<Milliseconds> parse_time(const std::string &text, Milliseconds now);
std::string format_time(Milliseconds time);

enum class Task : unsigned char { other, backup, restore };
enum class Phase : unsigned char { unscheduled, scheduled, running, completed, failed };

// Properties of a job that a test has replaced; nullopt: the instance lacks the property.
using Overrides = std::map<std::string, std::optional<Value>>;

// Duration and outcome of the next job that a service starts.
struct NextJob {
    std::optional<Milliseconds> runs; // nullopt: the method's default
    bool fails = false;
    std::optional<std::string> message;
};

struct Job {
    std::string id, name;
    Task task = Task::other;
    std::optional<Milliseconds> start; // nullopt: not scheduled yet
    Milliseconds runs = 0;
    bool fails = false;
    std::string start_text, until_text;
    std::string failure; // the message of the job when it has failed; empty: the default
    Overrides overrides;

    Milliseconds end() const; // of a job that has a start
    Phase phase(Milliseconds now) const;
    unsigned int percent(Milliseconds now) const;
};

const char *status_name(Phase phase);

struct Share {
    std::string address, name;
    unsigned int type;
    std::optional<std::string> user;
    std::string password;
};

struct Identity {
    std::string id, name, version;
};

// A class that a test or a scene has added. Its instances have its keys and further properties.
struct AddedClass {
    std::string name;
    std::vector<std::string> keys;
    std::vector<std::vector<Item>> instances;
};

constexpr unsigned int usual_job_limit = 256, no_job_limit = 0;

struct Controller {
    Clock clock;
    std::map<unsigned long, Job> jobs; // in the order of creation
    std::unordered_map<std::string, unsigned long> job_numbers;
    unsigned long last_number = 0;
    unsigned int last_id = 0;
    unsigned int job_limit = usual_job_limit;
    std::vector<Identity> identities;
    std::vector<Share> shares;
    bool lockdown = false;
    std::deque<NextJob> next_jobs;                     // for the next jobs that services start, in order
    std::map<std::string, Overrides> future_overrides; // of jobs that do not exist yet
    std::vector<AddedClass> added;

    void load_demo();

    Job *find_job(const std::string &id);
    Job *add_job(Job job); // NULL if a job with that identifier exists
    void remove_job(const std::string &id);
    Overrides &overrides_of(const std::string &id); // of a job, which need not exist yet
    bool add_class(AddedClass new_class);           // false if a class of that name exists
    // False: no class of that name was added, or a key is missing.
    bool add_instance(const std::string &class_name, std::vector<Item> items);
    bool full() const { return job_limit != no_job_limit && jobs.size() >= job_limit; }
    std::string new_id();

    Answer get_class(const Contents &path);
    Answer enumerate(const Contents &path);
    Answer get(const Contents &path);
    Answer invoke(const Contents &path, const char *method, const Contents &arguments);
};

extern const char *const velk_namespace;
extern const char *const job_class;
extern const char *const identity_class;

// A class of the controller: its name and keys, and how its instances are listed and found.
struct Class {
    std::string name;
    std::vector<std::string> keys;
    std::function<std::vector<Value>()> list;
    std::function<std::optional<Value>(const Contents &path)> find; // the instance with the keys of a path
};
std::optional<Class> find_class(Controller &controller, const std::string &name);

Value instance_of(const std::string &class_name);

Value reference(const char *class_name, const std::string &instance_id);
Value job_instance(const Job &job, Milliseconds now);

// The service with this class; NULL if the class is not that of a service.
struct Service;
const Service *find_service(const std::string &class_name);
Value service_instance(const Service &service);
// Whether the service's methods have a uint16 parameter of this name.
bool is_integer_parameter(const std::string &class_name, const std::string &name);
Answer call_service(const Service &service, Controller &controller, const char *method,
                    const Contents &arguments);

} // namespace cimsim

#endif
