// controller.h - the simulated controller: its clock, its jobs, and what its services know.
#ifndef CIMSIM_CONTROLLER_H
#define CIMSIM_CONTROLLER_H

#include "controller/answer.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <unordered_map>

namespace cimsim {

using Milliseconds = std::int64_t; // since 1970 for a point in time, as the controller sees it

// Simulated time: the wall clock's, shifted, or standing still.
class Clock {
public:
    Milliseconds now() const;
    bool is_frozen() const { return frozen_.has_value(); }
    void freeze(bool on);
    void advance(Milliseconds time);
    Milliseconds ahead() const { return ahead_; } // of the wall clock
    void go_ahead(Milliseconds of_the_wall_clock) {
        frozen_.reset();
        ahead_ = of_the_wall_clock;
    }
    void stop_at(Milliseconds time) { frozen_ = time; }

private:
    Milliseconds ahead_ = 0;
    std::optional<Milliseconds> frozen_;
};

// A point in time as the services are given it: "NOW" or yyyymmddhhmmss, in UTC.
std::optional<Milliseconds> parse_time(const std::string &text, Milliseconds now);
std::string format_time(Milliseconds time);

enum class Task : unsigned char { other, backup, restore };
enum class Phase : unsigned char { fresh, scheduled, running, completed, failed };

// Properties of a job that a test has replaced; none: the instance lacks the property.
using Overrides = std::map<std::string, std::optional<Value>>;

// How the next job that a service starts runs.
struct NextJob {
    std::optional<Milliseconds> runs; // none: as usual
    bool fails = false;
    std::optional<std::string> message;
};

struct Job {
    std::string id, name;
    Task task = Task::other;
    std::optional<Milliseconds> start; // none: no queue took it yet
    Milliseconds runs = 0;
    bool fails = false;
    std::string start_text, until_text;
    std::string failure; // what it says when it has failed; empty: the usual
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

// A class that a test has added. Instances hold its keys and further properties, as they were given.
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
    std::deque<NextJob> next_jobs;                     // one for each of the next jobs that services start
    std::map<std::string, Overrides> future_overrides; // of jobs that do not exist yet
    std::vector<AddedClass> added;

    void load_demo();

    Job *find_job(const std::string &id);
    Job *add_job(Job job); // NULL when there is one of that name
    void remove_job(const std::string &id);
    Overrides &overrides_of(const std::string &id); // of a job, which may not exist yet
    bool add_class(AddedClass new_class);           // false when there is one of that name
    bool add_instance(const std::string &class_name,
                      std::vector<Item> items); // false: no added class, or a key missing
    bool full() const { return job_limit != no_job_limit && jobs.size() >= job_limit; }
    std::string new_id();

    Answer get_class(const Tree &path);
    Answer enumerate(const Tree &path);
    Answer get(const Tree &path);
    Answer invoke(const Tree &path, const char *method, const Tree &arguments);
};

extern const char *const velk_namespace;
extern const char *const job_class;
extern const char *const identity_class;

// A class that the controller knows: its name, and how its instances are found.
struct Class {
    std::string name;
    std::vector<std::string> keys;
    std::function<std::vector<Value>()> list;
    std::function<std::optional<Value>(const Tree &path)> find; // the one that a path's keys name
};
std::optional<Class> find_class(Controller &controller, const std::string &name);

Value instance_of(const std::string &class_name);

Value reference(const char *class_name, const std::string &instance_id);
Value job_instance(const Job &job, Milliseconds now);

// The service that a path's class names; NULL when the class is none of a service.
struct Service;
const Service *find_service(const std::string &class_name);
Value service_instance(const Service &service);
// Whether the methods of a class take a uint16 under this name.
bool is_integer_parameter(const std::string &class_name, const std::string &name);
Answer call_service(const Service &service, Controller &controller, const char *method,
                    const Tree &arguments);

} // namespace cimsim

#endif
