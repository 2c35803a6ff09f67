// control.cpp - the functions of the control header, cimsim.h.
#include "control/process.h"
#include "value/notation.h"

#include <cimsim.h>

#include <cstdio>
#include <cstdlib>
#include <deque>

using namespace cimsim;

struct cimsim_value {
    Value value;
};

static_assert(CIMSIM_USUAL_JOB_LIMIT == usual_job_limit && CIMSIM_NO_LIMIT == no_job_limit);
static_assert(CIMSIM_REMEMBERED == quarantine_size);
static_assert(CIMSIM_HANG == int(Effect::hang) && CIMSIM_CRASH == int(Effect::crash) &&
              CIMSIM_EXIT == int(Effect::exit) && CIMSIM_RESTART == int(Effect::restart));

namespace {

std::unique_lock<std::mutex> lock_own_controller(std::mutex &lock) {
    std::unique_lock<std::mutex> locked(lock);
    process.replace_environment_controller();
    return locked;
}

// A call of a control function: holds the simulator's lock, and the lock of the state in a session.
class ControlCall {
public:
    explicit ControlCall(std::mutex &lock) : lock_(lock_own_controller(lock)) {}

private:
    std::unique_lock<std::mutex> lock_;
    Session session_{process.state};
};

// The strings that the last control function returned to this thread; the next function replaces them.
struct Returned : Attachment {
    std::deque<std::string> texts;
    std::vector<cimsim_item> items;
    cimsim_request request = {};

    const char *keep(std::string text) { return texts.emplace_back(std::move(text)).c_str(); }
};

Returned &emptied_result() {
    Thread &thread = this_thread();
    if (!thread.attached)
        thread.attached = std::make_unique<Returned>();
    auto &returned = static_cast<Returned &>(*thread.attached);
    returned.texts.clear();
    return returned;
}

cimsim_value *boxed(Value value) { return new cimsim_value{std::move(value)}; }

// Takes ownership of a value.
std::optional<Value> unboxed(cimsim_value *value) {
    const std::unique_ptr<cimsim_value> owner(value);
    return owner ? std::optional<Value>(std::move(owner->value)) : std::nullopt;
}

std::optional<std::string> optional_text(const char *text) {
    return text ? std::optional<std::string>(text) : std::nullopt;
}

[[noreturn]] void abort_with(const char *function, const std::string &why) {
    std::fprintf(stderr, "cimsim: %s: %s\n", function, why.c_str());
    std::abort();
}

ScriptedAnswer &scripted_answer() {
    auto &answers = sim.broker.scripted_answers;
    return answers.empty() ? answers.emplace_back() : answers.back();
}

// A fault in a slot that does not exist would never be injected, and the test would pass.
void check_slot(const char *function, const char *slot) {
    if (slot && !is_slot(slot))
        abort_with(function, "there is no slot \"" + std::string(slot) + "\"");
}

void plan(const char *function, const char *slot, unsigned long nth, bool for_ever, Fault fault) {
    check_slot(function, slot);
    if (nth == CIMSIM_TAKE_BACK)
        return sim.recorder.faults.clear();
    sim.recorder.last_injected.clear();
    sim.recorder.faults.push_back({text_or_empty(slot), nth, for_ever, std::move(fault)});
}

Fault fault_of(const cimsim_fault *fault) {
    return fault ? Fault{fault->rc, optional_text(fault->message), fault->with_result != 0, Effect::none}
                 : Fault{};
}

template <class Visit>
void visit_live(Visit visit) {
    const auto ring = [&](const Link &held) {
        for (const Link *link = held.next; link != &held; link = link->next)
            visit(*static_cast<const Object *>(link));
    };
    ring(sim.heap.owned);
    ring(sim.heap.lost);
    for (const auto &entry : sim.heap.threads)
        ring(entry.second->pool);
}

} // namespace

extern "C" {

// ---- The controller as a whole ------------------------------------------------------------------

void cimsim_reset(void) {
    const ControlCall call(sim.lock);
    sim.controller = {};
    const unsigned long generation = sim.broker.generation;
    sim.broker = {};
    sim.broker.generation = sim.socket_generation = generation;
    sim.recorder = {};
    free_unloaded();
    ++sim.resets;
    sim.time_changed.notify_all();
}

void cimsim_load_demo(void) {
    const ControlCall call(sim.lock);
    sim.controller.load_demo();
}

int cimsim_use_state(const char *path) {
    const std::lock_guard<std::mutex> lock(sim.lock);
    const bool dead = sim.broker.generation != sim.socket_generation;
    process.from_environment = false;
    process.attach(path);
    Session session(process.state);
    const bool good = session.end();
    process.controller_replaced(dead);
    return good ? 0 : -1;
}

// ---- Time ---------------------------------------------------------------------------------------

void cimsim_freeze_time(int on) {
    const ControlCall call(sim.lock);
    sim.controller.clock.freeze(on != 0);
    sim.time_changed.notify_all();
}

void cimsim_advance(unsigned int seconds) {
    const ControlCall call(sim.lock);
    sim.controller.clock.advance(Milliseconds{seconds} * 1000);
    sim.time_changed.notify_all();
}

// ---- Values -------------------------------------------------------------------------------------

cimsim_value *cimsim_string(const char *characters) {
    Value value = Value::string(text_or_empty(characters));
    value.blank = !characters;
    return boxed(std::move(value));
}

cimsim_value *cimsim_chars(const char *characters) {
    Value value(CMPI_chars, characters ? Kind::chars : Kind::none);
    value.text = text_or_empty(characters);
    return boxed(std::move(value));
}

cimsim_value *cimsim_number(CMPIType type, CMPIUint64 bits) { return boxed(Value::number(type, bits)); }

cimsim_value *cimsim_datetime(const char *text) {
    Value value(CMPI_dateTime, Kind::date_time);
    value.text = text_or_empty(text);
    return boxed(std::move(value));
}

cimsim_value *cimsim_reference(const char *name_space, const char *class_name, const char *key,
                               cimsim_value *value) {
    Value path = Value::with_contents(CMPI_ref, Kind::path);
    path.contents->name_space = text_or_empty(name_space);
    path.contents->class_name = text_or_empty(class_name);
    std::optional<Value> key_value = unboxed(value);
    if (key)
        path.contents->items.push_back({key, key_value ? std::move(*key_value) : Value::null(CMPI_string)});
    return boxed(std::move(path));
}

cimsim_value *cimsim_instance(const char *class_name) {
    Value instance = Value::with_contents(CMPI_instance, Kind::instance);
    instance.contents->class_name = text_or_empty(class_name);
    return boxed(std::move(instance));
}

cimsim_value *cimsim_array(CMPIType type, unsigned int count, cimsim_value *const *elements) {
    std::vector<Value> values;
    for (unsigned int i = 0; i < count; ++i)
        values.push_back(unboxed(elements[i]).value_or(Value::unset(type)));
    return boxed(Value::array(type, std::move(values)));
}

cimsim_value *cimsim_null(CMPIType type) { return boxed(Value::null(type)); }

cimsim_value *cimsim_no_object(CMPIType type) { return boxed(Value(type, Kind::none)); }

cimsim_value *cimsim_with_state(cimsim_value *value, CMPIValueState state) {
    if (value)
        value->value.state = state;
    return value;
}

cimsim_value *cimsim_with_type(cimsim_value *value, CMPIType type) {
    if (value)
        value->value.type = type;
    return value;
}

cimsim_value *cimsim_parse_value(const char *text) {
    try {
        std::optional<Value> value = parse_value(text_or_empty(text));
        return value ? boxed(std::move(*value)) : nullptr;
    } catch (const StatementError &error) {
        abort_with("cimsim_parse_value", error.what());
    }
}

CMPIType cimsim_type_named(const char *name) {
    const auto type = type_named(text_or_empty(name));
    if (!type)
        abort_with("cimsim_type_named", "there is no type \"" + std::string(text_or_empty(name)) + "\"");
    return *type;
}

const char *cimsim_value_text(const CMPIData *data) {
    const ControlCall call(sim.lock);
    std::string text = value_text(value_behind(*data));
    if (text.empty())
        text = type_name(data->type) + ":object";
    return emptied_result().keep(std::move(text));
}

void cimsim_discard(cimsim_value *value) { delete value; }

// ---- Jobs ---------------------------------------------------------------------------------------

int cimsim_add_job(const char *InstanceID, const char *name, unsigned int start, unsigned int runs,
                   int fails) {
    const ControlCall call(sim.lock);
    Job job;
    job.id = text_or_empty(InstanceID);
    job.name = text_or_empty(name);
    job.runs = Milliseconds{runs} * 1000;
    job.fails = fails != 0;
    if (start != CIMSIM_NEVER) {
        job.start = sim.controller.clock.now() + Milliseconds{start} * 1000;
        job.start_text = start == 0 ? "NOW" : format_time(*job.start);
    }
    return sim.controller.add_job(std::move(job)) ? 0 : -1;
}

void cimsim_set_job_property(const char *InstanceID, const char *property, cimsim_value *value) {
    const ControlCall call(sim.lock);
    std::optional<Value> taken = unboxed(value);
    sim.controller.overrides_of(text_or_empty(InstanceID))[text_or_empty(property)] = std::move(taken);
}

void cimsim_next_job(unsigned int runs, int fails, const char *message) {
    const ControlCall call(sim.lock);
    NextJob next;
    if (runs != CIMSIM_USUAL)
        next.runs = Milliseconds{runs} * 1000;
    next.fails = fails != 0;
    next.message = optional_text(message);
    sim.controller.next_jobs.push_back(std::move(next));
}

unsigned int cimsim_job_count(void) {
    const ControlCall call(sim.lock);
    return static_cast<unsigned int>(sim.controller.jobs.size());
}

int cimsim_job_at(unsigned int index, cimsim_job *job) {
    const ControlCall call(sim.lock);
    Returned &returned = emptied_result();
    const auto &jobs = sim.controller.jobs;
    if (index >= jobs.size() || !job)
        return -1;
    const Job &found = std::next(jobs.begin(), static_cast<std::ptrdiff_t>(index))->second;
    const Milliseconds now = sim.controller.clock.now();
    job->InstanceID = returned.keep(found.id);
    job->Name = returned.keep(found.name);
    job->JobStatus = status_name(found.phase(now));
    job->JobStartTime = returned.keep(found.start_text);
    job->JobUntilTime = returned.keep(found.until_text);
    job->PercentComplete = found.percent(now);
    return 0;
}

void cimsim_add_element(unsigned int index, cimsim_value *value) {
    const ControlCall call(sim.lock);
    if (std::optional<Value> taken = unboxed(value))
        sim.broker.extra_elements.emplace(index, std::move(*taken));
}

// ---- Services -----------------------------------------------------------------------------------

void cimsim_add_software_identity(const char *InstanceID, const char *name, const char *version) {
    const ControlCall call(sim.lock);
    sim.controller.identities.push_back(
        {text_or_empty(InstanceID), text_or_empty(name), text_or_empty(version)});
}

int cimsim_add_class(const char *name, const char *const *keys) {
    const ControlCall call(sim.lock);
    AddedClass added{text_or_empty(name), {}, {}};
    for (; keys && *keys; ++keys)
        added.keys.emplace_back(*keys);
    return sim.controller.add_class(std::move(added)) ? 0 : -1;
}

int cimsim_add_instance(const char *class_name, unsigned int count, const char *const *names,
                        cimsim_value *const *values) {
    const ControlCall call(sim.lock);
    std::vector<Item> items;
    for (unsigned int i = 0; i < count; ++i)
        if (std::optional<Value> taken = unboxed(values[i]))
            items.push_back({names[i], std::move(*taken)});
    return sim.controller.add_instance(text_or_empty(class_name), std::move(items)) ? 0 : -1;
}

void cimsim_add_share(const char *address, const char *name, unsigned int type, const char *user,
                      const char *password) {
    const ControlCall call(sim.lock);
    sim.controller.shares.push_back(
        {text_or_empty(address), text_or_empty(name), type, optional_text(user), text_or_empty(password)});
}

void cimsim_set_lockdown(int on) {
    const ControlCall call(sim.lock);
    sim.controller.lockdown = on != 0;
}

void cimsim_set_job_limit(unsigned int jobs) {
    const ControlCall call(sim.lock);
    sim.controller.job_limit = jobs;
}

// ---- The broker ---------------------------------------------------------------------------------

void cimsim_set_reachable(int on) {
    const ControlCall call(sim.lock);
    sim.broker.reachable = on != 0;
    if (!on) // open connections of this and of other processes become dead
        ++sim.broker.generation;
}

void cimsim_refuse_user(const char *user) {
    const ControlCall call(sim.lock);
    sim.broker.refused.insert(text_or_empty(user));
}

void cimsim_hold_answers(unsigned int milliseconds) {
    const ControlCall call(sim.lock);
    sim.broker.hold_ms = milliseconds;
}

void cimsim_set_garbage(int on) {
    const ControlCall call(sim.lock);
    sim.broker.garbage = on != 0;
}

void cimsim_restart_broker(unsigned int pipes) {
    const ControlCall call(sim.lock);
    if (pipes & CIMSIM_PIPE_CALLS)
        ++sim.broker.generation;
    else
        sim.socket_generation = sim.broker.generation;
    sim.broker.pipe_at_connect = (pipes & CIMSIM_PIPE_CONNECT) != 0;
    sim.broker.pipe_at_release = (pipes & CIMSIM_PIPE_RELEASE) != 0;
}

void cimsim_set_unload_time(unsigned int milliseconds) {
    const ControlCall call(sim.lock);
    sim.recorder.unload_ms = milliseconds;
}

const char *cimsim_state_error(void) {
    const ControlCall call(sim.lock);
    const std::string &error = process.state.error();
    return error.empty() ? nullptr : emptied_result().keep(error);
}

unsigned long cimsim_overlaps(void) {
    const ControlCall call(sim.lock);
    return sim.broker.overlaps;
}

// ---- The last request ---------------------------------------------------------------------------

const cimsim_request *cimsim_last_request(void) {
    const ControlCall call(sim.lock);
    Returned &returned = emptied_result();
    const auto &last = sim.broker.last;
    if (!last)
        return nullptr;
    returned.items.clear();
    for (const auto *items : {&last->keys, &last->arguments})
        for (const RequestItem &item : *items)
            returned.items.push_back(
                {returned.keep(item.name), item.type, returned.keep(item.text), returned.keep(item.value)});
    cimsim_request &request = returned.request;
    request.operation = last->operation;
    request.user = returned.keep(last->user);
    request.name_space = returned.keep(last->name_space);
    request.class_name = returned.keep(last->class_name);
    request.method = returned.keep(last->method);
    request.flags = last->flags;
    request.key_count = static_cast<unsigned int>(last->keys.size());
    request.keys = returned.items.data();
    request.argument_count = static_cast<unsigned int>(last->arguments.size());
    request.arguments = returned.items.data() + last->keys.size();
    return &request;
}

unsigned long cimsim_request_count(void) {
    const ControlCall call(sim.lock);
    return sim.broker.requests;
}

// ---- The journal --------------------------------------------------------------------------------

void cimsim_journal(int on) {
    const ControlCall call(sim.lock);
    sim.broker.journal = on != 0;
    if (on)
        process.state.journal.clear();
}

unsigned long cimsim_journal_count(void) {
    const ControlCall call(sim.lock);
    return process.state.journal.entries().size();
}

int cimsim_journal_at(unsigned long index, cimsim_journal_entry *entry) {
    const ControlCall call(sim.lock);
    Returned &returned = emptied_result();
    const auto &entries = process.state.journal.entries();
    if (index >= entries.size() || !entry)
        return -1;
    const JournalEntry &found = entries[index];
    *entry = {found.process,
              returned.keep(found.operation),
              returned.keep(found.user),
              returned.keep(found.class_name),
              returned.keep(found.method),
              returned.keep(found.subject),
              found.rc,
              found.returned.has_value(),
              found.returned.value_or(0)};
    return 0;
}

// ---- Scripted answers ---------------------------------------------------------------------------

void cimsim_answer_return(cimsim_value *value) {
    const ControlCall call(sim.lock);
    if (std::optional<Value> taken = unboxed(value))
        scripted_answer().result = std::move(*taken);
}

void cimsim_answer_output(const char *name, cimsim_value *value) {
    const ControlCall call(sim.lock);
    if (std::optional<Value> taken = unboxed(value))
        scripted_answer().outputs.push_back({text_or_empty(name), std::move(*taken)});
}

void cimsim_answer_status(CMPIrc rc, const char *message) {
    const ControlCall call(sim.lock);
    scripted_answer().rc = rc;
    scripted_answer().message = optional_text(message);
}

void cimsim_answer_then(void) {
    const ControlCall call(sim.lock);
    scripted_answer();
    sim.broker.scripted_answers.emplace_back();
}

// ---- Faults -------------------------------------------------------------------------------------

void cimsim_fail(const char *slot, unsigned long nth, const cimsim_fault *fault) {
    const ControlCall call(sim.lock);
    plan("cimsim_fail", slot, nth, false, fault_of(fault));
}

void cimsim_fail_from(const char *slot, unsigned long nth, const cimsim_fault *fault) {
    const ControlCall call(sim.lock);
    plan("cimsim_fail_from", slot, nth, true, fault_of(fault));
}

void cimsim_disrupt(const char *slot, unsigned long nth, int what, int after) {
    const ControlCall call(sim.lock);
    if (what < CIMSIM_HANG || what > CIMSIM_RESTART)
        abort_with("cimsim_disrupt", "there is no event " + std::to_string(what));
    Fault fault;
    fault.with_result = after != 0;
    fault.effect = static_cast<Effect>(what);
    plan("cimsim_disrupt", slot, nth, false, std::move(fault));
}

const char *cimsim_fault_hit(void) {
    const ControlCall call(sim.lock);
    return sim.recorder.last_injected.empty() ? nullptr : emptied_result().keep(sim.recorder.last_injected);
}

// ---- Recorded calls -----------------------------------------------------------------------------

unsigned long cimsim_calls(const char *slot) {
    const ControlCall call(sim.lock);
    if (!slot)
        return sim.recorder.all_calls;
    check_slot("cimsim_calls", slot);
    const auto found = sim.recorder.calls.find(slot);
    return found == sim.recorder.calls.end() ? 0 : found->second;
}

void cimsim_trace(int on) {
    const ControlCall call(sim.lock);
    CallRecorder &recorder = sim.recorder;
    recorder.tracing = on != 0;
    if (on) {
        recorder.trace.clear();
        recorder.trace_names.clear();
        recorder.trace_count.clear();
    }
}

const char *cimsim_traced(void) {
    const ControlCall call(sim.lock);
    return emptied_result().keep(sim.recorder.trace);
}

// ---- Accounting ---------------------------------------------------------------------------------

unsigned long cimsim_owned(void) {
    const ControlCall call(sim.lock);
    return sim.heap.owned_count;
}

unsigned long cimsim_pooled(void) {
    const ControlCall call(sim.lock);
    return sim.heap.pooled_count;
}

const char *cimsim_live(void) {
    const ControlCall call(sim.lock);
    std::string names;
    visit_live([&](const Object &object) { names += (names.empty() ? "" : " ") + object.name(); });
    return emptied_result().keep(std::move(names));
}

void cimsim_count_misuse(int on) {
    const ControlCall call(sim.lock);
    sim.recorder.count_misuse = on != 0;
    sim.recorder.misuses = 0;
}

unsigned long cimsim_misuses(void) {
    const ControlCall call(sim.lock);
    return sim.recorder.misuses;
}

const char *cimsim_last_misuse(void) {
    const ControlCall call(sim.lock);
    return emptied_result().keep(sim.recorder.last_misuse);
}

// ---- Workers ------------------------------------------------------------------------------------

void XAVO_pools_changed(int change) {
    const std::lock_guard<std::mutex> guard(sim.lock);
    process.pools_changed(change);
}

} // extern "C"
