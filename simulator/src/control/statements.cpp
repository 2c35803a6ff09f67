// statements.cpp - the statements of scenes and states: how each is applied, and how a state is written.
#include "control/statements.h"

#include "control/scene.h"
#include "value/notation.h"

#include <algorithm>
#include <climits>

namespace cimsim {

namespace {

// ---- Reading ------------------------------------------------------------------------------------

constexpr Milliseconds second = 1000;
constexpr std::int64_t most = 0xffffffff; // the greatest count or duration in seconds
constexpr Milliseconds latest =
    100'000'000'000'000'000; // the last valid time, three million years after 1970
constexpr std::int64_t most_jobs = 2'000'000'000;
constexpr const char *effects[] = {"hang", "crash", "exit",
                                   "restart"}; // in the order of Effect, without none

std::int64_t count(const Statement &s) { return s.number(s.words[0], 0, most); }

Milliseconds duration(const Statement &s, Milliseconds otherwise) {
    const Milliseconds whole = s.number_option("runs", otherwise / second, 0, most) * second;
    return s.number_option("runs-ms", whole, 0, most * second);
}

void apply_job(Simulator &simulator, const Statement &s) {
    Controller &controller = simulator.controller;
    Job job;
    job.id = s.words[0].text;
    job.name = s.text_option("name");
    job.runs = duration(s, 10 * second);
    job.fails = s.option("fails") != nullptr;
    job.failure = s.text_option("message");
    job.until_text = s.text_option("until");
    const std::string task = s.text_option("task", "other"), start = s.text_option("start", "never");
    job.task = task == "backup" ? Task::backup : task == "restore" ? Task::restore : Task::other;
    if (job.task == Task::other && task != "other")
        s.fail("task must be backup, restore or other");
    if (const Word *at = s.option("at"))
        job.start = s.number(*at, -latest, latest);
    else if (start != "never")
        job.start = controller.clock.now() + s.number_option("start", 0, 0, most) * second;
    if (job.start)
        job.start_text = s.text_option("start-text", start == "0" ? "NOW" : format_time(*job.start));
    // A later job has a higher number.
    const auto next = static_cast<std::int64_t>(controller.last_number) + 1;
    if (next > most_jobs)
        s.fail("no number is left for another job");
    controller.last_number = static_cast<unsigned long>(s.number_option("number", next, next, most_jobs)) - 1;
    if (!controller.add_job(std::move(job)))
        s.fail("there is a job \"" + s.words[0].text + "\" already");
}

void apply_property(Simulator &simulator, const Statement &s) {
    simulator.controller.overrides_of(s.words[0].text)[s.words[1].text] = parse_value(s, s.words[2]);
}

void apply_next_job(Simulator &simulator, const Statement &s) {
    NextJob next;
    if (s.option("runs") || s.option("runs-ms"))
        next.runs = duration(s, 0);
    next.fails = s.option("fails") != nullptr;
    if (s.option("message"))
        next.message = s.text_option("message");
    simulator.controller.next_jobs.push_back(std::move(next));
}

void apply_share(Simulator &simulator, const Statement &s) {
    Share share{s.words[0].text, s.words[1].text, static_cast<unsigned int>(s.number(s.words[2], 0, most)),
                std::nullopt, s.text_option("password")};
    if (s.option("user"))
        share.user = s.text_option("user");
    simulator.controller.shares.push_back(std::move(share));
}

void apply_class(Simulator &simulator, const Statement &s) {
    AddedClass added{s.words[0].text, {}, {}};
    for (std::size_t i = 1; i < s.words.size(); ++i)
        added.keys.push_back(s.words[i].text);
    if (!simulator.controller.add_class(std::move(added)))
        s.fail("there is a class \"" + s.words[0].text + "\" already");
}

void apply_instance(Simulator &simulator, const Statement &s) {
    std::vector<Item> items;
    for (const auto &[name, word] : s.options)
        if (std::optional<Value> value = parse_value(s, word))
            items.push_back({name, std::move(*value)});
    if (!simulator.controller.add_instance(s.words[0].text, std::move(items)))
        s.fail("no class \"" + s.words[0].text + "\" was added, or one of its keys is missing");
}

void apply_clock(Simulator &simulator, const Statement &s) {
    if (s.option("frozen"))
        simulator.controller.clock.freeze_at(s.number_option("frozen", 0, -latest, latest));
    else
        simulator.controller.clock.set_ahead(s.number_option("ahead", 0, -latest, latest));
}

void apply_numbers(Simulator &simulator, const Statement &s) {
    Controller &controller = simulator.controller;
    const auto last = static_cast<std::int64_t>(controller.last_number); // of the jobs in earlier statements
    controller.last_number = static_cast<unsigned long>(s.number_option("jobs", last, last, most_jobs));
    controller.last_id = static_cast<unsigned int>(s.number_option("ids", 0, 0, most));
}

void apply_fault(Simulator &simulator, const Statement &s) {
    if (!is_slot(s.words[0].text) && s.words[0].text != "any")
        s.fail("there is no slot \"" + s.words[0].text + "\"");
    PlannedFault plan{s.words[0].text == "any" ? "" : s.words[0].text,
                      static_cast<unsigned long>(s.number(s.words[1], 1, most)), s.option("from") != nullptr,
                      Fault{static_cast<CMPIrc>(s.number_option("rc", CMPI_RC_ERR_FAILED, INT_MIN, INT_MAX)),
                            std::nullopt, s.option("with-result") != nullptr}};
    if (s.option("message"))
        plan.fault.message = s.text_option("message");
    if (const Word *then = s.option("then")) {
        const auto *const found = std::find(std::begin(effects), std::end(effects), then->text);
        if (found == std::end(effects))
            s.fail("then must be hang, crash, exit or restart");
        plan.fault.effect = static_cast<Effect>(found - std::begin(effects) + 1);
    }
    simulator.recorder.faults.push_back(std::move(plan));
}

void apply_answer(Simulator &simulator, const Statement &s) {
    ScriptedAnswer script;
    script.rc = static_cast<CMPIrc>(s.number_option("rc", CMPI_RC_OK, INT_MIN, INT_MAX));
    if (s.option("message"))
        script.message = s.text_option("message");
    if (const Word *result = s.option("return"))
        script.result = parse_value(s, *result);
    simulator.broker.scripted_answers.push_back(std::move(script));
}

void apply_output(Simulator &simulator, const Statement &s) {
    if (simulator.broker.scripted_answers.empty())
        s.fail("there is no answer before it");
    if (std::optional<Value> value = parse_value(s, s.words[1]))
        simulator.broker.scripted_answers.back().outputs.push_back({s.words[0].text, std::move(*value)});
}

void apply_element(Simulator &simulator, const Statement &s) {
    if (std::optional<Value> value = parse_value(s, s.words[1]))
        simulator.broker.extra_elements.emplace(static_cast<unsigned int>(count(s)), std::move(*value));
}

void apply_injected(Simulator &simulator, const Statement &s) {
    simulator.recorder.last_injected = s.words[0].text;
}

void apply_refuse(Simulator &simulator, const Statement &s) {
    simulator.broker.refused.insert(s.words[0].text);
}

void apply_software(Simulator &simulator, const Statement &s) {
    simulator.controller.identities.push_back(
        {s.words[0].text, s.text_option("name"), s.text_option("version")});
}

// ---- Writing ------------------------------------------------------------------------------------

void write_clock(const Simulator &simulator, StatementWriter &out) {
    const Clock &clock = simulator.controller.clock;
    out.line("clock").option(clock.is_frozen() ? "frozen" : "ahead",
                             clock.is_frozen() ? clock.now() : clock.ahead());
}

void write_numbers(const Simulator &simulator, StatementWriter &out) {
    out.line("numbers").option("jobs", static_cast<std::int64_t>(simulator.controller.last_number));
    out.option("ids", static_cast<std::int64_t>(simulator.controller.last_id));
}

void write_refuse(const Simulator &simulator, StatementWriter &out) {
    for (const std::string &user : simulator.broker.refused)
        out.line("refuse").text(user);
}

void write_fault(const Simulator &simulator, StatementWriter &out) {
    for (const PlannedFault &plan : simulator.recorder.faults) {
        out.line("fault").word(plan.slot.empty() ? "any" : plan.slot);
        out.number(static_cast<std::int64_t>(plan.countdown)).option("rc", plan.fault.rc);
        if (plan.fault.message)
            out.option("message", *plan.fault.message);
        if (plan.fault.effect != Effect::none)
            out.word(std::string("then=") + effects[static_cast<std::size_t>(plan.fault.effect) - 1]);
        out.flag("with-result", plan.fault.with_result).flag("from", plan.for_ever);
    }
}

void write_answer(const Simulator &simulator, StatementWriter &out) {
    for (const ScriptedAnswer &script : simulator.broker.scripted_answers) {
        out.line("answer").option("rc", script.rc);
        if (script.message)
            out.option("message", *script.message);
        if (script.result)
            if (const std::string text = value_text(*script.result); !text.empty())
                out.word("return=" + text);
        for (const Item &output : script.outputs)
            if (const std::string text = value_text(output.value); !text.empty())
                out.line("output").text(output.name).word(text);
    }
}

void write_element(const Simulator &simulator, StatementWriter &out) {
    for (const auto &[index, value] : simulator.broker.extra_elements)
        if (const std::string text = value_text(value); !text.empty())
            out.line("element").number(index).word(text);
}

void write_injected(const Simulator &simulator, StatementWriter &out) {
    if (!simulator.recorder.last_injected.empty())
        out.line("injected").word(simulator.recorder.last_injected);
}

void write_software(const Simulator &simulator, StatementWriter &out) {
    for (const Identity &identity : simulator.controller.identities)
        out.line("software")
            .text(identity.id)
            .option_if_any("name", identity.name)
            .option_if_any("version", identity.version);
}

void write_share(const Simulator &simulator, StatementWriter &out) {
    for (const Share &share : simulator.controller.shares) {
        out.line("share").text(share.address).text(share.name).number(share.type);
        if (share.user)
            out.option("user", *share.user).option_if_any("password", share.password);
    }
}

void write_class(const Simulator &simulator, StatementWriter &out) {
    for (const AddedClass &added : simulator.controller.added) {
        out.line("class").text(added.name);
        for (const std::string &key : added.keys)
            out.text(key);
    }
}

void write_instance(const Simulator &simulator, StatementWriter &out) {
    for (const AddedClass &added : simulator.controller.added)
        for (const std::vector<Item> &items : added.instances) {
            out.line("instance").text(added.name);
            for (const Item &item : items)
                if (const std::string text = value_text(item.value); !text.empty())
                    out.word(quoted(item.name) + "=" + text);
        }
}

void write_job(const Simulator &simulator, StatementWriter &out) {
    const char *const tasks[] = {"", "backup", "restore"};
    for (const auto &[number, job] : simulator.controller.jobs) {
        out.line("job")
            .text(job.id)
            .option("number", static_cast<std::int64_t>(number))
            .option_if_any("name", job.name)
            .option_if_any("task", tasks[static_cast<std::size_t>(job.task)]);
        if (job.start)
            out.option("at", *job.start).option("start-text", job.start_text);
        out.option("runs-ms", job.runs)
            .option_if_any("message", job.failure)
            .option_if_any("until", job.until_text)
            .flag("fails", job.fails);
    }
}

void write_properties(StatementWriter &out, const std::string &id, const Overrides &overrides) {
    for (const auto &[name, value] : overrides)
        if (const std::string text = value_text(value); !text.empty())
            out.line("property").text(id).text(name).word(text);
}

void write_property(const Simulator &simulator, StatementWriter &out) {
    for (const auto &[number, job] : simulator.controller.jobs)
        write_properties(out, job.id, job.overrides);
    for (const auto &[id, overrides] : simulator.controller.future_overrides)
        write_properties(out, id, overrides);
}

void write_next_job(const Simulator &simulator, StatementWriter &out) {
    for (const NextJob &next : simulator.controller.next_jobs) {
        out.line("next-job");
        if (next.runs)
            out.option("runs-ms", *next.runs);
        if (next.message)
            out.option("message", *next.message);
        out.flag("fails", next.fails);
    }
}

// ---- The rows -----------------------------------------------------------------------------------

} // namespace

// clang-format off
// A statement without words. Reading it sets the member to `value`; it is written if the member has that
// value.
#define SWITCH(name, member, value)                                                                          \
    {name, 0, 0, "", [](Simulator &to, const Statement &) { to.member = value; },                            \
     [](const Simulator &from, StatementWriter &out) { if (from.member == (value)) out.line(name); }}
// A statement with one number, the value of the member.
#define COUNT(name, member)                                                                                  \
    {name, 1, 1, "", [](Simulator &to, const Statement &s) { to.member = static_cast<unsigned int>(count(s)); }, \
     [](const Simulator &from, StatementWriter &out) { out.line(name).number(static_cast<std::int64_t>(from.member)); }}

// Constant-initialized, because scenes are read while the library is loaded, before constructors have run.
constexpr StatementForm forms[] = {
    {"empty", 0, 0, "", [](Simulator &to, const Statement &) { clear_scene(to); },
     [](const Simulator &, StatementWriter &out) { out.line("empty"); }},
    {"demo", 0, 0, "", [](Simulator &to, const Statement &) { to.controller.load_demo(); }, nullptr},
    {"clock", 0, 0, "frozen ahead", apply_clock, write_clock},
    COUNT("generation", broker.generation),
    COUNT("limit", controller.job_limit),
    SWITCH("lockdown", controller.lockdown, true),
    SWITCH("unreachable", broker.reachable, false),
    SWITCH("garbage", broker.garbage, true),
    COUNT("hold", broker.hold_ms),
    {"refuse", 1, 1, "", apply_refuse, write_refuse},
    {"software", 1, 1, "name version", apply_software, write_software},
    {"share", 3, 3, "user password", apply_share, write_share},
    {"class", 1, any_number_of_words, "", apply_class, write_class},
    {"instance", 1, 1, "*", apply_instance, write_instance},
    {"job", 1, 1, "name start at start-text runs runs-ms fails message until task number", apply_job, write_job},
    {"property", 3, 3, "", apply_property, write_property},
    {"next-job", 0, 0, "runs runs-ms fails message", apply_next_job, write_next_job},
    {"numbers", 0, 0, "jobs ids", apply_numbers, write_numbers},
    {"answer", 0, 0, "rc message return", apply_answer, write_answer},
    {"output", 2, 2, "", apply_output, nullptr}, // of the answer statement before it; written by write_answer
    {"element", 2, 2, "", apply_element, write_element},
    {"fault", 2, 2, "rc message with-result from then", apply_fault, write_fault},
    {"injected", 1, 1, "", apply_injected, write_injected},
    SWITCH("journal", broker.journal, true),
};
// clang-format on

const StatementForm *find_statement(const std::string &name) {
    for (const StatementForm &form : forms)
        if (name == form.name)
            return &form;
    return nullptr;
}

std::string state_text(const Simulator &simulator) {
    StatementWriter out;
    for (const StatementForm &form : forms)
        if (form.write)
            form.write(simulator, out);
    return out.done();
}

} // namespace cimsim
