// scene.cpp - the statements of scenes and states, read and written in one place.
#include "scene.h"

#include "simulator.h"
#include "text.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <optional>

namespace cimsim {

namespace {

// ---- Values -------------------------------------------------------------------------------------

const struct {
    const char *name;
    CMPIType type;
} types[] = {{"boolean", CMPI_boolean},  {"char16", CMPI_char16},     {"uint8", CMPI_uint8},
             {"uint16", CMPI_uint16},    {"uint32", CMPI_uint32},     {"uint64", CMPI_uint64},
             {"sint8", CMPI_sint8},      {"sint16", CMPI_sint16},     {"sint32", CMPI_sint32},
             {"sint64", CMPI_sint64},    {"real32", CMPI_real32},     {"real64", CMPI_real64},
             {"string", CMPI_string},    {"datetime", CMPI_dateTime}, {"reference", CMPI_ref},
             {"instance", CMPI_instance}};

const char *type_name(CMPIType type) {
    for (const auto &known : types)
        if (known.type == type)
            return known.name;
    return nullptr;
}

std::optional<CMPIType> type_named(const std::string &name) {
    for (const auto &known : types)
        if (name == known.name)
            return known.type;
    return std::nullopt;
}

// Whatever language the program speaks, a number has a point.
template <class Number>
Number read_number(const Statement &statement, const std::string &text) {
    Number number = {};
    const char *const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (rest != end || error != std::errc())
        statement.fail("\"" + text + "\" is no number");
    return number;
}

Value read_number(const Statement &statement, CMPIType type, const std::string &text) {
    Value value = Value::number(type, 0);
    if (type == CMPI_real32) {
        const auto real = read_number<float>(statement, text);
        value.bits = load_number(type, &real);
        return value;
    }
    if (type == CMPI_real64) {
        const auto real = read_number<double>(statement, text);
        value.bits = load_number(type, &real);
        return value;
    }
    value.bits = text[0] == '-' ? static_cast<CMPIUint64>(read_number<long long>(statement, text))
                                : read_number<CMPIUint64>(statement, text);
    if (to_text(value) != text) // it has more bits than the type
        statement.fail("\"" + text + "\" is no " + type_name(type));
    return value;
}

// The parts of a value that has some, itself a statement.
Statement parts_of(const Statement &statement, const std::string &text) {
    try {
        std::vector<Statement> parts = parse(text);
        if (parts.size() == 1)
            return std::move(parts[0]);
    } catch (const Mistake &mistake) {
        statement.fail(mistake.what());
    }
    statement.fail("\"" + text + "\" is not one line");
}

std::optional<Value> read_value(const Statement &statement, const Word &word);

Value read_typed(const Statement &statement, CMPIType type, const std::string &text) {
    if (type == CMPI_string)
        return Value::string(text);
    if (is_number(type))
        return read_number(statement, type, text);
    if (type == CMPI_dateTime) {
        Value value(CMPI_dateTime, Kind::date_time);
        value.text = text;
        return value;
    }
    const Statement parts = parts_of(statement, text);
    const bool is_path = type == CMPI_ref;
    if (parts.words.size() != (is_path ? 1 : 0))
        statement.fail(is_path ? "a reference is NAMESPACE CLASS KEY=VALUE..."
                               : "an instance is CLASS NAME=VALUE...");
    Value value = Value::with_tree(type, is_path ? Kind::path : Kind::instance);
    if (is_path)
        value.tree->name_space = parts.name;
    value.tree->class_name = is_path ? parts.words[0].text : parts.name;
    for (const auto &[name, part] : parts.options)
        if (std::optional<Value> item = read_value(statement, part))
            value.tree->items.push_back({name, std::move(*item)});
    return value;
}

// "text", null, null:TYPE, TYPE:VALUE, array:"TYPE VALUE..."; lacking gives none.
std::optional<Value> read_value(const Statement &statement, const Word &word) {
    if (word.quoted)
        return Value::string(word.text);
    if (word.text == "lacking")
        return std::nullopt;
    if (word.text == "null")
        return Value::null(CMPI_string);
    const std::size_t colon = word.text.find(':');
    const std::string name = word.text.substr(0, colon),
                      rest = colon == std::string::npos ? "" : word.text.substr(colon + 1);
    if (const auto type = type_named(name == "null" ? rest : name); type && colon != std::string::npos)
        return name == "null" ? Value::null(*type) : read_typed(statement, *type, rest);
    if (name != "array" || colon == std::string::npos)
        statement.fail("\"" + word.text + "\" is no value: it takes \"text\", null, lacking or TYPE:VALUE");
    const Statement parts = parts_of(statement, rest);
    const auto type = type_named(parts.name);
    if (!type || !parts.options.empty())
        statement.fail("an array is array:\"TYPE VALUE...\"");
    std::vector<Value> elements;
    for (const Word &part : parts.words)
        elements.push_back(!part.quoted && part.text == "null" ? Value::unset(*type)
                                                               : read_typed(statement, *type, part.text));
    return Value::array(*type, std::move(elements));
}

template <class Real>
std::string real_text(Real real) {
    char text[64];
    return {text, std::to_chars(text, std::end(text), real).ptr};
}

std::string value_text(const std::optional<Value> &value);

// " NAME=VALUE" for each; nothing when one of them has no such form.
std::optional<std::string> items_text(const std::vector<Item> &items) {
    std::string all;
    for (const Item &item : items) {
        const std::string text = value_text(item.value);
        if (text.empty())
            return std::nullopt;
        all += " " + quoted(item.name) + "=" + text;
    }
    return all;
}

// What follows TYPE: in the text of a value; empty when it has no such form.
std::string typed_text(const Value &value) {
    if (value.state != CMPI_goodValue || value.blank || value.kind == Kind::none || !type_name(value.type))
        return {};
    CMPIValue whole;
    switch (value.kind) {
    case Kind::string:
        return value.type == CMPI_string ? quoted(value.text) : "";
    case Kind::date_time:
        return value.type == CMPI_dateTime ? quoted(value.text) : "";
    case Kind::number:
        store_number(value.type, value.bits, &whole);
        return value.type == CMPI_real32   ? real_text(whole.real32)
               : value.type == CMPI_real64 ? real_text(whole.real64)
               : is_number(value.type)     ? to_text(value)
                                           : "";
    case Kind::path:
    case Kind::instance: {
        if (value.type != (value.kind == Kind::path ? CMPI_ref : CMPI_instance))
            return {};
        const auto items = items_text(value.tree->items);
        const std::string space = value.kind == Kind::path ? quoted(value.tree->name_space) + " " : "";
        return items ? quoted(space + quoted(value.tree->class_name) + *items) : "";
    }
    default:
        return {};
    }
}

std::string array_text(const Value &array) {
    const auto type = static_cast<CMPIType>(array.type & ~CMPI_ARRAY);
    std::string all = type_name(type) ? type_name(type) : "";
    for (const Value &element : array.tree->elements) {
        const bool unset = element.state == CMPI_nullValue && element.kind == Kind::none;
        const std::string text = unset ? "null" : typed_text(element);
        if (all.empty() || text.empty() || element.type != type)
            return {};
        all += " " + text;
    }
    return all.empty() || array.state != CMPI_goodValue ? "" : "array:" + quoted(all);
}

// Empty for a value that has no such form.
std::string value_text(const std::optional<Value> &value) {
    if (!value)
        return "lacking";
    if (value->kind == Kind::array && (value->type & CMPI_ARRAY))
        return array_text(*value);
    const char *const type = type_name(value->type);
    if (!type)
        return {};
    if (value->state == CMPI_nullValue && (value->blank || value->kind == Kind::none))
        return std::string("null:") + type;
    const std::string text = typed_text(*value);
    return text.empty() || value->type == CMPI_string ? text : std::string(type) + ":" + text;
}

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

void job(const Statement &s) {
    Controller &controller = sim.controller;
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

void property(const Statement &s) {
    sim.controller.overrides_of(s.words[0].text)[s.words[1].text] = read_value(s, s.words[2]);
}

void next_job(const Statement &s) {
    Coming coming;
    if (s.option("runs") || s.option("runs-ms"))
        coming.runs = duration(s, 0);
    coming.fails = s.option("fails") != nullptr;
    if (s.option("message"))
        coming.message = s.text_option("message");
    sim.controller.coming.push_back(std::move(coming));
}

void share(const Statement &s) {
    Share share{s.words[0].text, s.words[1].text, static_cast<unsigned int>(s.number(s.words[2], 0, most)),
                std::nullopt, s.text_option("password")};
    if (s.option("user"))
        share.user = s.text_option("user");
    sim.controller.shares.push_back(std::move(share));
}

void add_class(const Statement &s) {
    AddedClass added{s.words[0].text, {}, {}};
    for (std::size_t i = 1; i < s.words.size(); ++i)
        added.keys.push_back(s.words[i].text);
    if (!sim.controller.add_class(std::move(added)))
        s.fail("there is a class \"" + s.words[0].text + "\" already");
}

void instance(const Statement &s) {
    std::vector<Item> items;
    for (const auto &[name, word] : s.options)
        if (std::optional<Value> value = read_value(s, word))
            items.push_back({name, std::move(*value)});
    if (!sim.controller.add_instance(s.words[0].text, std::move(items)))
        s.fail("no class \"" + s.words[0].text + "\" was added, or one of its keys is missing");
}

void clock(const Statement &s) {
    if (s.option("frozen"))
        sim.controller.clock.stop_at(s.number_option("frozen", 0, -latest, latest));
    else
        sim.controller.clock.go_ahead(s.number_option("ahead", 0, -latest, latest));
}

void numbers(const Statement &s) {
    Controller &controller = sim.controller;
    const auto last = static_cast<std::int64_t>(controller.last_number); // of the jobs that stand before
    controller.last_number = static_cast<unsigned long>(s.number_option("jobs", last, last, most_jobs));
    controller.last_id = static_cast<unsigned int>(s.number_option("ids", 0, 0, most));
}

void fault(const Statement &s) {
    if (!is_slot(s.words[0].text) && s.words[0].text != "any")
        s.fail("there is no slot \"" + s.words[0].text + "\"");
    Plan plan{s.words[0].text == "any" ? "" : s.words[0].text,
              static_cast<unsigned long>(s.number(s.words[1], 1, most)), s.option("from") != nullptr,
              Fault{static_cast<CMPIrc>(s.number_option("rc", CMPI_RC_ERR_FAILED, INT_MIN, INT_MAX)),
                    std::nullopt, s.option("with-result") != nullptr}};
    if (s.option("message"))
        plan.fault.message = s.text_option("message");
    sim.watch.plans.push_back(std::move(plan));
}

struct Form {
    const char *name;
    std::size_t least, most;           // words
    std::vector<const char *> options; // NAME=VALUE, or NAME alone
    void (*apply)(const Statement &);
};

const std::size_t any_number = 1000;

const Form forms[] = {
    {"empty", 0, 0, {}, [](const Statement &) { forget_scene(); }},
    {"demo", 0, 0, {}, [](const Statement &) { sim.controller.load_demo(); }},
    {"clock", 0, 0, {"frozen", "ahead"}, clock},
    {"generation",
     1,
     1,
     {},
     [](const Statement &s) { sim.broker.generation = static_cast<unsigned long>(count(s)); }},
    {"numbers", 0, 0, {"jobs", "ids"}, numbers},
    {"limit",
     1,
     1,
     {},
     [](const Statement &s) { sim.controller.job_limit = static_cast<unsigned int>(count(s)); }},
    {"lockdown", 0, 0, {}, [](const Statement &) { sim.controller.lockdown = true; }},
    {"unreachable", 0, 0, {}, [](const Statement &) { sim.broker.reachable = false; }},
    {"garbage", 0, 0, {}, [](const Statement &) { sim.broker.garbage = true; }},
    {"hold", 1, 1, {}, [](const Statement &s) { sim.broker.hold_ms = static_cast<unsigned int>(count(s)); }},
    {"refuse", 1, 1, {}, [](const Statement &s) { sim.broker.refused.insert(s.words[0].text); }},
    {"software",
     1,
     1,
     {"name", "version"},
     [](const Statement &s) {
         sim.controller.identities.push_back(
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

void apply_scene(const std::string &text, bool lasts) {
    for (Statement &statement : parse(text)) {
        const auto *const form = std::find_if(std::begin(forms), std::end(forms), [&](const Form &known) {
            return statement.name == known.name;
        });
        if (form == std::end(forms))
            throw Mistake(statement.line, "there is no statement \"" + statement.name + "\"");
        sort_out(*form, statement);
        if (lasts && form->apply == fault)
            statement.fail("it is a process's own, and stands in a scene");
        form->apply(statement);
    }
}

void forget_scene() {
    sim.controller = {};
    Broker &broker = sim.broker;
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

std::string scene_text() {
    const Controller &controller = sim.controller;
    const Broker &broker = sim.broker;
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
                if (const auto text = items_text({item}))
                    out.piece(*text);
        }
    }
    write_jobs(out, controller);
    out.line("numbers").option("jobs", static_cast<std::int64_t>(controller.last_number));
    out.option("ids", static_cast<std::int64_t>(controller.last_id));
    return out.done();
}

} // namespace cimsim
