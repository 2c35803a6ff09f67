// scene.cpp - the statements of scenes and states, read and written in one place.
#include "control/scene.h"

#include "client/simulator.h"
#include "value/notation.h"
#include "value/text.h"

#include <algorithm>
#include <climits>
#include <optional>

namespace cimsim {

namespace {

// ---- Statements ---------------------------------------------------------------------------------

constexpr Milliseconds second = 1000;
constexpr std::int64_t most = 0xffffffff;                // of what is counted
constexpr Milliseconds latest = 100'000'000'000'000'000; // three million years off
constexpr std::int64_t most_jobs = 2'000'000'000;

std::int64_t count(const Statement &s) { return s.number(s.words[0], 0, most); }

Milliseconds duration(const Statement &s, Milliseconds otherwise) {
    const Milliseconds whole = s.number_option("runs", otherwise / second, 0, most) * second;
    return s.number_option("runs-ms", whole, 0, most * second);
}

void job(Simulator &simulator, const Statement &s) {
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
        s.fail("task is backup, restore or other");
    if (const Word *at = s.option("at"))
        job.start = s.number(*at, -latest, latest);
    else if (start != "never")
        job.start = controller.clock.now() + s.number_option("start", 0, 0, most) * second;
    if (job.start)
        job.start_text = s.text_option("start-text", start == "0" ? "NOW" : format_time(*job.start));
    const auto next = static_cast<std::int64_t>(controller.last_number) + 1; // in the order of creation
    if (next > most_jobs)
        s.fail("the numbers of jobs are used up");
    controller.last_number = static_cast<unsigned long>(s.number_option("number", next, next, most_jobs)) - 1;
    if (!controller.add_job(std::move(job)))
        s.fail("there is a job \"" + s.words[0].text + "\" already");
}

void property(Simulator &simulator, const Statement &s) {
    simulator.controller.overrides_of(s.words[0].text)[s.words[1].text] = parse_value(s, s.words[2]);
}

void next_job(Simulator &simulator, const Statement &s) {
    Coming coming;
    if (s.option("runs") || s.option("runs-ms"))
        coming.runs = duration(s, 0);
    coming.fails = s.option("fails") != nullptr;
    if (s.option("message"))
        coming.message = s.text_option("message");
    simulator.controller.coming.push_back(std::move(coming));
}

void share(Simulator &simulator, const Statement &s) {
    Share share{s.words[0].text, s.words[1].text, static_cast<unsigned int>(s.number(s.words[2], 0, most)),
                std::nullopt, s.text_option("password")};
    if (s.option("user"))
        share.user = s.text_option("user");
    simulator.controller.shares.push_back(std::move(share));
}

void add_class(Simulator &simulator, const Statement &s) {
    AddedClass added{s.words[0].text, {}, {}};
    for (std::size_t i = 1; i < s.words.size(); ++i)
        added.keys.push_back(s.words[i].text);
    if (!simulator.controller.add_class(std::move(added)))
        s.fail("there is a class \"" + s.words[0].text + "\" already");
}

void instance(Simulator &simulator, const Statement &s) {
    std::vector<Item> items;
    for (const auto &[name, word] : s.options)
        if (std::optional<Value> value = parse_value(s, word))
            items.push_back({name, std::move(*value)});
    if (!simulator.controller.add_instance(s.words[0].text, std::move(items)))
        s.fail("no class \"" + s.words[0].text + "\" was added, or one of its keys is missing");
}

void clock(Simulator &simulator, const Statement &s) {
    if (s.option("frozen"))
        simulator.controller.clock.stop_at(s.number_option("frozen", 0, -latest, latest));
    else
        simulator.controller.clock.go_ahead(s.number_option("ahead", 0, -latest, latest));
}

void numbers(Simulator &simulator, const Statement &s) {
    Controller &controller = simulator.controller;
    const auto last = static_cast<std::int64_t>(controller.last_number); // of the jobs that stand before
    controller.last_number = static_cast<unsigned long>(s.number_option("jobs", last, last, most_jobs));
    controller.last_id = static_cast<unsigned int>(s.number_option("ids", 0, 0, most));
}

void fault(Simulator &simulator, const Statement &s) {
    if (!is_slot(s.words[0].text) && s.words[0].text != "any")
        s.fail("there is no slot \"" + s.words[0].text + "\"");
    Plan plan{s.words[0].text == "any" ? "" : s.words[0].text,
              static_cast<unsigned long>(s.number(s.words[1], 1, most)), s.option("from") != nullptr,
              Fault{static_cast<CMPIrc>(s.number_option("rc", CMPI_RC_ERR_FAILED, INT_MIN, INT_MAX)),
                    std::nullopt, s.option("with-result") != nullptr}};
    if (s.option("message"))
        plan.fault.message = s.text_option("message");
    simulator.watch.plans.push_back(std::move(plan));
}

struct Form {
    const char *name;
    std::size_t least, most;           // words
    std::vector<const char *> options; // NAME=VALUE, or NAME alone
    void (*apply)(Simulator &, const Statement &);
};

const std::size_t any_number = 1000;

const Form forms[] = {
    {"empty", 0, 0, {}, [](Simulator &simulator, const Statement &) { forget_scene(simulator); }},
    {"demo", 0, 0, {}, [](Simulator &simulator, const Statement &) { simulator.controller.load_demo(); }},
    {"clock", 0, 0, {"frozen", "ahead"}, clock},
    {"generation",
     1,
     1,
     {},
     [](Simulator &simulator, const Statement &s) {
         simulator.broker.generation = static_cast<unsigned long>(count(s));
     }},
    {"numbers", 0, 0, {"jobs", "ids"}, numbers},
    {"limit",
     1,
     1,
     {},
     [](Simulator &simulator, const Statement &s) {
         simulator.controller.job_limit = static_cast<unsigned int>(count(s));
     }},
    {"lockdown",
     0,
     0,
     {},
     [](Simulator &simulator, const Statement &) { simulator.controller.lockdown = true; }},
    {"unreachable",
     0,
     0,
     {},
     [](Simulator &simulator, const Statement &) { simulator.broker.reachable = false; }},
    {"garbage", 0, 0, {}, [](Simulator &simulator, const Statement &) { simulator.broker.garbage = true; }},
    {"hold",
     1,
     1,
     {},
     [](Simulator &simulator, const Statement &s) {
         simulator.broker.hold_ms = static_cast<unsigned int>(count(s));
     }},
    {"refuse",
     1,
     1,
     {},
     [](Simulator &simulator, const Statement &s) { simulator.broker.refused.insert(s.words[0].text); }},
    {"software",
     1,
     1,
     {"name", "version"},
     [](Simulator &simulator, const Statement &s) {
         simulator.controller.identities.push_back(
             {s.words[0].text, s.text_option("name"), s.text_option("version")});
     }},
    {"share", 3, 3, {"user", "password"}, share},
    {"class", 1, any_number, {}, add_class},
    {"instance", 1, 1, {"*"}, instance},
    {"job",
     1,
     1,
     {"name", "start", "at", "start-text", "runs", "runs-ms", "fails", "message", "until", "task", "number"},
     job},
    {"property", 3, 3, {}, property},
    {"next-job", 0, 0, {"runs", "runs-ms", "fails", "message"}, next_job},
    {"fault", 2, 2, {"rc", "message", "with-result", "from"}, fault},
};

// Options without a value look like words until it is known which options there are.
void sort_out(const Form &form, Statement &s) {
    const auto knows = [&](const std::string &name) {
        return std::any_of(form.options.begin(), form.options.end(),
                           [&](const char *known) { return name == known; });
    };
    const auto stands_alone = [&](const std::string &name) {
        return (name == "fails" || name == "with-result" || name == "from") && knows(name);
    };
    for (const auto &option : s.options)
        if (stands_alone(option.first))
            s.fail(option.first + " takes no value");
    for (auto word = s.words.begin(); word != s.words.end();)
        if (!word->quoted && stands_alone(word->text)) {
            s.options.emplace_back(word->text, Word());
            word = s.words.erase(word);
        } else {
            ++word;
        }
    for (auto option = s.options.begin(); option != s.options.end(); ++option) {
        if (!knows(option->first) && !knows("*"))
            s.fail("there is no option \"" + option->first + "\"");
        if (s.option(option->first.c_str()) != &option->second)
            s.fail(option->first + " is given twice");
    }
    if (s.words.size() < form.least || s.words.size() > form.most)
        s.fail("it takes " + std::to_string(form.least) +
               (form.most == any_number ? " words or more"
                : form.least == 1       ? " word"
                                        : " words") +
               ", not " + std::to_string(s.words.size()));
}

} // namespace

void apply_scene(Simulator &simulator, const std::string &text, bool lasts) {
    for (Statement &statement : parse(text)) {
        const auto *const form = std::find_if(std::begin(forms), std::end(forms), [&](const Form &known) {
            return statement.name == known.name;
        });
        if (form == std::end(forms))
            throw Mistake(statement.line, "there is no statement \"" + statement.name + "\"");
        sort_out(*form, statement);
        if (lasts && form->apply == fault)
            statement.fail("it is a process's own, and stands in a scene");
        form->apply(simulator, statement);
    }
}

void forget_scene(Simulator &simulator) {
    simulator.controller = {};
    Broker &broker = simulator.broker;
    broker.reachable = true;
    broker.garbage = false;
    broker.hold_ms = 0;
    broker.refused.clear();
}

namespace {

// A line, put together piece by piece.
class Writer {
public:
    Writer &line(const char *name) {
        text_ += text_.empty() ? name : std::string("\n") + name;
        return *this;
    }
    Writer &piece(const std::string &piece) {
        text_ += piece;
        return *this;
    }
    Writer &word(const std::string &word) { return piece(" " + word); }
    Writer &text(const std::string &text) { return word(quoted(text)); }
    Writer &number(std::int64_t number) { return word(std::to_string(number)); }
    Writer &option(const char *name, const std::string &text) {
        return text.empty() ? *this : word(std::string(name) + "=" + quoted(text));
    }
    Writer &option(const char *name, std::int64_t number) {
        return word(std::string(name) + "=" + std::to_string(number));
    }
    std::string done() { return text_ + "\n"; }

private:
    std::string text_;
};

void write_overrides(Writer &out, const std::string &id, const Overrides &overrides) {
    for (const auto &[name, value] : overrides)
        if (const std::string text = value_text(value); !text.empty())
            out.line("property").text(id).text(name).word(text);
}

void write_jobs(Writer &out, const Controller &controller) {
    const char *const tasks[] = {"", "backup", "restore"};
    for (const auto &[number, job] : controller.jobs) {
        out.line("job")
            .text(job.id)
            .option("number", static_cast<std::int64_t>(number))
            .option("name", job.name);
        out.option("task", tasks[static_cast<std::size_t>(job.task)]);
        if (job.start)
            out.option("at", *job.start)
                .word("start-text=" + quoted(job.start_text)); // empty is not left out
        out.option("runs-ms", job.runs).option("message", job.failure).option("until", job.until_text);
        if (job.fails)
            out.word("fails");
        write_overrides(out, job.id, job.overrides);
    }
    for (const auto &[id, overrides] : controller.coming_overrides)
        write_overrides(out, id, overrides);
    for (const Coming &coming : controller.coming) {
        out.line("next-job");
        if (coming.runs)
            out.option("runs-ms", *coming.runs);
        if (coming.message)
            out.word("message=" + quoted(*coming.message));
        if (coming.fails)
            out.word("fails");
    }
}

} // namespace

std::string scene_text(const Simulator &simulator) {
    const Controller &controller = simulator.controller;
    const Broker &broker = simulator.broker;
    Writer out;
    out.line("empty").line("clock");
    if (controller.clock.is_frozen())
        out.option("frozen", controller.clock.now());
    else
        out.option("ahead", controller.clock.ahead());
    out.line("generation").number(static_cast<std::int64_t>(broker.generation));
    out.line("limit").number(controller.job_limit);
    if (controller.lockdown)
        out.line("lockdown");
    if (!broker.reachable)
        out.line("unreachable");
    if (broker.garbage)
        out.line("garbage");
    if (broker.hold_ms != 0)
        out.line("hold").number(broker.hold_ms);
    for (const std::string &user : broker.refused)
        out.line("refuse").text(user);
    for (const Identity &identity : controller.identities)
        out.line("software")
            .text(identity.id)
            .option("name", identity.name)
            .option("version", identity.version);
    for (const Share &share : controller.shares) {
        out.line("share").text(share.address).text(share.name).number(share.type);
        if (share.user)
            out.word("user=" + quoted(*share.user)).option("password", share.password);
    }
    for (const AddedClass &added : controller.added) {
        out.line("class").text(added.name);
        for (const std::string &key : added.keys)
            out.text(key);
        for (const std::vector<Item> &items : added.instances) {
            out.line("instance").text(added.name);
            for (const Item &item : items)
                if (const std::string text = value_text(item.value); !text.empty())
                    out.word(quoted(item.name) + "=" + text);
        }
    }
    write_jobs(out, controller);
    out.line("numbers").option("jobs", static_cast<std::int64_t>(controller.last_number));
    out.option("ids", static_cast<std::int64_t>(controller.last_id));
    return out.done();
}

} // namespace cimsim
