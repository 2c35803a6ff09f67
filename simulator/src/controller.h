// controller.h - the simulated controller: its clock, its jobs, and what its services know.
#ifndef CIMSIM_CONTROLLER_H
#define CIMSIM_CONTROLLER_H

#include "broker.h"

#include <cstdint>
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

private:
    Milliseconds ahead_ = 0;
    std::optional<Milliseconds> frozen_;
};

// A point in time as the services are given it: "NOW" or yyyymmddhhmmss, in UTC.
std::optional<Milliseconds> parse_time(const std::string &text, Milliseconds now);
std::string format_time(Milliseconds time);

enum class Task : unsigned char { other, backup, restore };
enum class Phase : unsigned char { fresh, scheduled, running, completed, failed };

struct Job {
    std::string id, name;
    Task task = Task::other;
    std::optional<Milliseconds> start; // none: no queue took it yet
    Milliseconds runs = 0;
    bool fails = false;
    std::string start_text, until_text;
    std::map<std::string, std::optional<Value>> overrides; // none: the instance lacks the property

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

struct Controller {
    Clock clock;
    std::map<unsigned long, Job> jobs; // in the order of creation
    std::unordered_map<std::string, unsigned long> job_numbers;
    unsigned long last_number = 0;
    unsigned int last_id = 0;
    unsigned int job_limit = 256;
    std::vector<std::string> identities;
    std::vector<Share> shares;
    bool lockdown = false;

    void load_demo();

    Job *find_job(const std::string &id);
    Job *add_job(Job job); // NULL when there is one of that name
    void remove_job(const std::string &id);
    bool full() const { return job_limit != 0 && jobs.size() >= job_limit; }
    std::string new_id();

    Answer get_class(const Tree &path);
    Answer enumerate(const Tree &path);
    Answer get(const Tree &path);
    Answer invoke(const Tree &path, const char *method, const Tree &arguments);
};

extern const char *const velk_namespace;
extern const char *const job_class;
extern const char *const identity_class;

Answer failed(CMPIrc rc, const std::string &message);
Value reference(const char *class_name, const std::string &instance_id);
Value job_instance(const Job &job, Milliseconds now);

// The service that a path's class names; NULL when the class is none of a service.
struct Service;
const Service *find_service(const std::string &class_name);
bool names_service(const Service &service, const Tree &path);
Value service_instance(const Service &service);
Answer call_service(const Service &service, Controller &controller, const char *method,
                    const Tree &arguments);

} // namespace cimsim

#endif
