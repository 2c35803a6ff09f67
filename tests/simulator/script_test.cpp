// script_test.cpp - runs scripts/*.txt: calls of the client library and of the control header, with their
// expected outcomes.
//
// "== title" begins a part of a file. Each part is a test, and first runs the lines above the first title. It
// starts with an empty controller, frozen time and a client named "client". A line is
//
//     command argument... ; command argument... => outcome ; outcome
//
// A command that returns nothing has no outcome: in "a = path X ; a.getKeyCount => 0" the 0 is that of the
// second command. A line that begins with four blanks continues the line before it. The commands are
//
//  OBJECT.SLOT          a slot of a named object: "client.getClass p"
//  a name of commands.def: a constructor, a function of cimsim.h without "cimsim_", a function of this file
//  NAME = COMMAND       names the object that a command returns
//  invoke METHOD        calls a method with the arguments Name=text, Name=[job,job], Name=@software
//  property JOB NAME    reads a property of a job
//  hand_out CLIENT VALUE
//                       hands out a value as a method's output; hand_out_bits CLIENT TYPE NUMBER: a number's
//                       bits
//  thread COMMAND , COMMAND...
//                       runs commands on another thread; "start" does not wait for them. "join" does, and has
//                       their outcomes; "count_ended" counts the threads that have ended
//  sh LINE              runs a line in the shell, in a folder that is empty at first. There, "./run COMMAND ,
//                       COMMAND..." runs commands in a new process with the state and the scene of its
//                       environment. "./test" does the same, but calls no other control functions.
//  forget_objects       see execute()
//
// An argument that is left out, or is "-", is 0 or NULL. Values are in the notation of xavo-scene(5);
// "string:@s" is the object s. An outcome is the result, and then, separated by ", ", what else there is:
// "named NAME" (of a CMPIString **), "rc 6: MESSAGE", "misuse: TEXT", "SIGPIPE". A time between 2021 and 2089
// is "TIME".
#include "../prepare.h"
#include "../table.h"
#include "cmpi_helpers.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <iomanip>
#include <list>
#include <map>
#include <regex>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace cmpi;

namespace {

using Words = test::Row;
using test::split;
using test::unquoted;
using test::words_in;

// The notation of a value. That of an instance is without its properties.
std::string in_notation(const CMPIData &data) {
    const std::string text = cimsim_value_text(&data);
    return std::regex_replace(text, std::regex("instance:\"([^ ]+) .*\""), "instance:$1");
}

std::atomic<int> sigpipes; // since the command began

// The commands that are functions of this file.
namespace commands {

// The members that cimsim_job_at stores.
std::string job_at(unsigned index) {
    cimsim_job job;
    if (cimsim_job_at(index, nullptr) != -1 || cimsim_job_at(index, &job) != 0)
        return "none";
    return std::string(job.InstanceID) + "|" + job.Name + "|" + job.JobStatus + "|" + job.JobStartTime + "|" +
           job.JobUntilTime + "|" + std::to_string(job.PercentComplete);
}

// The members that cimsim_journal_at stores.
std::string journal_at(unsigned index) {
    cimsim_journal_entry entry;
    if (cimsim_journal_at(index, nullptr) != -1 || cimsim_journal_at(index, &entry) != 0)
        return "none";
    return (entry.process == getpid() ? "own " : "") + std::string(entry.operation) + " " + entry.user + " " +
           entry.class_name + "." + entry.method + "(" + entry.subject + ") " + std::to_string(entry.rc) +
           (entry.has_returned ? " " + std::to_string(entry.returned) : "");
}

std::string last_request() {
    const cimsim_request *const last = cimsim_last_request();
    if (last == nullptr)
        return "none";
    return last->operation + (" " + std::to_string(last->flags)) + " " + last->user + " " +
           test::last_request();
}

// Returns a value as the client library hands it out: as an output of a method.
CMPIData hand_out(CMCIClient *client, cimsim_value *value) {
    const auto on = service_path("VELK_JobService");
    const Own<CMPIArgs> outputs(native_new_CMPIArgs(nullptr));
    CMPIStatus st;
    cimsim_answer_output("Out", value);
    client->ft->invokeMethod(client, on.get(), "SetupJobQueue", outputs.get(), outputs.get(), &st);
    return outputs->ft->getArg(outputs.get(), "Out", &st);
}

CMPIData hand_out_bits(CMCIClient *client, CMPIType type, CMPIUint64 bits) {
    return hand_out(client, cimsim_number(type, bits));
}

void make_and_release(unsigned times) {
    while (times-- > 0)
        release(native_new_CMPIArgs(nullptr));
}

// The output of a shell line, and its exit status unless that is 0; on one line.
std::string shell(const std::string &line) {
    FILE *const pipe = popen(("exec 2>&1; " + line).c_str(), "r");
    std::string outcome;
    for (char block[256]; fgets(block, sizeof block, pipe) != nullptr;)
        outcome += block;
    const int status = pclose(pipe);
    outcome =
        std::regex_replace(outcome, std::regex("qemu: .*\n"), ""); // an emulator's own message about a signal
    test::replace(outcome, std::filesystem::current_path(), ".");
    test::replace(outcome, "\n", " / ");
    return status == 0 ? outcome.substr(0, outcome.rfind(" / "))
                       : outcome + "exit " + std::to_string(WEXITSTATUS(status));
}

// An object with the function table of another object, and no handle.
CMPIString *object_without_handle(CMPIString *like) {
    static CMPIString made;
    made = {nullptr, like == nullptr ? nullptr : like->ft};
    return &made;
}

void add_jobs(unsigned count, const char *name) {
    while (count-- > 0)
        cimsim_add_job((name + std::to_string(count)).c_str(), "", CIMSIM_NEVER, 1, 0);
}

// Waits until this number of requests has reached the broker, and then 10 ms, so that the last is delayed.
void wait_for_requests(unsigned long times) {
    while (cimsim_request_count() < times)
        std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

// Waits until a slot was called this number of times.
void wait_for_calls(const char *slot, unsigned long times) {
    while (cimsim_calls(slot) < times)
        std::this_thread::yield();
}

} // namespace commands

struct Held {
    void *pointer;
    std::string kind;
    bool owned; // the script owns it and has not released it yet
};

#define KIND(kind)                                                                                           \
    [[maybe_unused]] const char *kind_of(const kind *) { return #kind; }
#define COMMAND(name, function)
#include "commands.def"
#undef KIND
#undef COMMAND

class Interpreter {
public:
    std::map<std::string, Held> objects;
    bool attached = true; // false: a ./test process, which calls only the control functions of its commands

    // Runs the commands of a line; returns the outcome.
    std::string run(const std::string &line) {
        std::string outcome;
        for (size_t at = 0, end; at < line.size(); at = end + 3) {
            end = std::min(line.find(" ; ", at), line.size());
            const std::string one = command(line.substr(at, end - at));
            outcome += (outcome.empty() || one.empty() ? "" : " ; ") + one;
        }
        return outcome;
    }

    // Runs the commands that are an argument of another command, separated by " , ".
    std::string run_rest(std::string line) {
        test::replace(line, " , ", " ; ");
        return run(line);
    }

    // Releases the object with this name if the script still owns it.
    void release_held(const std::string &name) {
        if (const auto found = objects.find(name);
            found != objects.end() && std::exchange(found->second.owned, false)) {
            auto *const any =
                static_cast<CMPIString *>(found->second.pointer); // release is every table's first slot
            any->ft->release(any);
        }
    }

private:
    CMCIClient *client = nullptr; // the object "client", used by commands that name none
    CMPIStatus st = {};
    Words words_;      // the remaining words of the command
    std::string rest_; // the text of the command after its name
    std::list<std::string> kept_;
    std::list<std::vector<char *>> lists_;
    std::vector<cimsim_value *> values_;
    CMPIValue value_ = {};
    CMPIType type_ = 0;
    cimsim_fault fault_ = {};
    CMPIString *name_ = nullptr;
    std::string into_; // the name for the result; empty: none
    std::string slot_; // the slot that is called; empty: the command calls no slot
    std::vector<std::shared_future<std::string>> started_;

    const char *next() { return next(unquoted); }
    const char *next_value() {
        return next([](const std::string &word) { return word; });
    }
    template <class As>
    const char *next(As as) {
        if (words_.empty() || words_.front() == "-") {
            words_.erase(words_.begin(), words_.begin() + !words_.empty());
            return nullptr;
        }
        kept_.push_back(as(words_.front()));
        words_.erase(words_.begin());
        return kept_.back().c_str();
    }

    // Convert the next words to arguments, by their types.
    void take(const char *&to) { to = next(); }
    void take(CMPIStatus *&to) { to = words_.empty() ? &st : (next(), nullptr); }
    void take(CMPIString **&to) { to = &(name_ = nullptr); }
    void take(char **&to) {
        const char *const names = next();
        to = nullptr;
        if (names == nullptr)
            return;
        auto &list = lists_.emplace_back();
        for (const std::string &name : split(names, ','))
            list.push_back(kept_.emplace_back(name).data());
        list.push_back(nullptr);
        to = list.data();
    }
    void take(const char *const *&to) {
        char **names;
        take(names);
        to = names;
    }
    void take(cimsim_value *const *&to) {
        values_.clear();
        const char *const values = next_value();
        for (const std::string &value : split(values == nullptr ? "" : values, ','))
            values_.push_back(cimsim_parse_value(value.c_str()));
        to = values_.data();
    }
    template <class Number>
    std::enable_if_t<std::is_integral_v<Number> || std::is_enum_v<Number>> take(Number &to) {
        if (std::is_same_v<Number, CMPIType> && type_ != 0xffff)
            return void(to = static_cast<Number>(type_)); // the value before it has the type
        const char *const text = next();
        if (std::is_same_v<Number, CMPIType> && text != nullptr)
            return void(to = static_cast<Number>(cimsim_type_named(text)));
        to = static_cast<Number>(text == nullptr ? 0 : std::stoull(text, nullptr, 0));
    }
    void take(CMPIValue *&to) { // "chars:text", "uint16:5", "null:chars"; "reference:@p": the object p
        const char *const text = next_value();
        type_ = CMPI_null;
        to = nullptr;
        if (text == nullptr)
            return;
        const std::string whole = text, head = whole.substr(0, whole.find(':'));
        const char *const rest = kept_.emplace_back(unquoted(whole.substr(head.size() + 1))).c_str();
        type_ = cimsim_type_named(head == "null" ? rest : head.c_str());
        if (head == "null")
            return;
        to = type_ == CMPI_chars ? cmpi::value(rest) : &value_;
        if (rest[0] == '@')
            value_.dataPtr.ptr = objects.at(rest + 1).pointer;
        else if (type_ != CMPI_chars)
            value_ = commands::hand_out(client, cimsim_parse_value(text)).value;
    }
    void take(cimsim_value *&to) {
        const char *const text = next_value();
        to = text == nullptr ? nullptr : cimsim_parse_value(text);
    }
    void take(const cimsim_fault *&to) { // "6", "1/message", "1/message/with_result"
        const char *const text = next();
        to = text == nullptr ? nullptr : &fault_;
        const Words parts = split(text == nullptr ? "1" : text, '/');
        fault_ = {static_cast<CMPIrc>(std::stoi(parts[0])),
                  parts.size() > 1 ? kept_.emplace_back(parts[1]).c_str() : nullptr, parts.size() > 2};
    }
    template <class Object>
    auto take(Object *&to) -> std::void_t<decltype(to->ft)> {
        const char *const name = next();
        to = name == nullptr ? nullptr : static_cast<Object *>(objects.at(name).pointer);
    }

    // Convert results to text, by their types.
    template <class Object>
    auto render(Object *made) -> decltype(std::string(kind_of(made))) {
        EXPECT_TRUE(made == nullptr || made->ft->ftVersion == 1);
        if (made != nullptr && !into_.empty())
            release_held(into_),
                objects[into_] = {made, kind_of(made),
                                  slot_.empty() || slot_ == "clone" || !std::is_same_v<Object, CMPIString>};
        if (made == nullptr || !into_.empty())
            return made == nullptr ? "NULL" : "";
        if constexpr (std::is_same_v<Object, CMPIString>)
            return text(made);
        cmpi::release(made);
        return kind_of(made);
    }
    std::string render(const CMPIData &data) {
        if (!into_.empty())
            release_held(into_), objects[into_] = {data.value.dataPtr.ptr,
                                                   data.type & CMPI_ARRAY       ? "CMPIArray"
                                                   : data.type == CMPI_ref      ? "CMPIObjectPath"
                                                   : data.type == CMPI_instance ? "CMPIInstance"
                                                   : data.type == CMPI_dateTime ? "CMPIDateTime"
                                                                                : "CMPIString",
                                                   false};
        if (!into_.empty() && (data.type & CMPI_ARRAY) != 0)
            return "array"; // its elements are not read
        const std::string outcome = in_notation(data);
        if (data.type == CMPI_chars && slot_ != "getElementAt" && slot_ != "getNext")
            free(data.value.chars);
        return outcome;
    }
    template <class Object>
    std::string render(Own<Object> made) {
        return render(made.release());
    }
    static std::string render(const std::string &outcome) { return outcome; }
    std::string render(const CMPIStatus &status) { return st = status, ""; }
    static std::string render(const char *characters) { return characters == nullptr ? "NULL" : characters; }
    template <class Number>
    static std::enable_if_t<std::is_integral_v<Number>, std::string> render(Number number) {
        return std::to_string(number);
    }

    template <class Function, class... Given, class... Rest>
    auto call_with(Function function, std::tuple<Given...> given, std::tuple<Rest...> rest) {
        type_ = 0xffff;
        std::apply([&](auto &...each) { (take(each), ...); }, rest);
        return std::apply(function, std::tuple_cat(given, rest));
    }
    template <class R, class... Rest>
    std::string call(R (*function)(Rest...)) {
        return render(call_with(function, std::tuple(), std::tuple<Rest...>()));
    }
    template <class... Rest>
    std::string call(void (*function)(Rest...)) {
        return call_with(function, std::tuple(), std::tuple<Rest...>()), "";
    }
    template <class Cmpi, class R, class... Rest>
    std::string call_slot(Cmpi *self, R (*slot)(Cmpi *, Rest...)) {
        return render(call_with(slot, std::tuple(self), std::tuple<Rest...>()));
    }

    std::string command(const std::string &text) {
        rest_ = text.substr(std::min(text.find(' '), text.size() - 1) + 1);
        words_ = words_in(text);
        into_.clear();
        if (words_.size() > 1 && words_[1] == "=") {
            into_ = words_[0];
            words_.erase(words_.begin(), words_.begin() + 2);
        }
        name_ = nullptr;
        sigpipes = 0;
        if (objects.count("client") != 0)
            client = static_cast<CMCIClient *>(objects["client"].pointer);
        std::string outcome = execute(next());
        const auto add = [&](const std::string &more) { outcome += (outcome.empty() ? "" : ", ") + more; };
        if (name_ != nullptr)
            add("named " + cmpi::text(name_));
        if (st.rc != CMPI_RC_OK || st.msg != nullptr)
            add("rc " + std::to_string(st.rc) + (st.msg == nullptr ? "" : ": " + cmpi::text(st.msg)));
        if (st.msg != nullptr)
            cmpi::release(st.msg);
        st = {CMPI_RC_OK, nullptr};
        for (unsigned long n = attached ? cimsim_misuses() : 0; n != 0; n = 0, cimsim_count_misuse(1))
            add("misuse: " +
                std::regex_replace(std::string(cimsim_last_misuse()), std::regex("#[0-9]+"), "#") +
                (n == 1 ? "" : " x" + std::to_string(n)));
        if (sigpipes != 0)
            add("SIGPIPE");
        if (!outcome.empty() && outcome.back() == ' ')
            outcome.pop_back();
        return std::regex_replace(outcome, std::regex("20(2[1-9]|[3-8][0-9])[0-9]{10}"), "TIME");
    }

    std::string execute(const std::string &what) {
        slot_.clear();
#define KIND(kind)
#define COMMAND(name, function)                                                                              \
    if (what == name)                                                                                        \
        return call(function);
#include "commands.def"
#undef KIND
#undef COMMAND
        if (what == "property") {
            const char *const id = next();
            const auto at = job_path(id);
            const Own<CMPIInstance> job(client->ft->getInstance(client, at.get(), 0, nullptr, nullptr));
            return job == nullptr ? "no job" : in_notation(job->ft->getProperty(job.get(), next(), &st));
        }
        if (what == "invoke")
            return invoke(Words(words_));
        if (what == "sh") // its output and its status, on one line
            return commands::shell(rest_);
        if (what == "forget_objects") // the names of all objects, after the release of the last client
            return objects.clear(), "";
        if (what == "thread" || what == "start") {
            auto other = std::make_shared<Interpreter>(*this);
            auto outcome =
                std::async(std::launch::async, [other] { return other->run_rest(other->rest_); }).share();
            if (what == "thread")
                return outcome.get();
            started_.push_back(outcome);
            return "";
        }
        if (what == "count_ended")
            return std::to_string(std::count_if(started_.begin(), started_.end(), [](auto &call) {
                return call.wait_for(std::chrono::milliseconds(10)) == std::future_status::ready;
            }));
        if (what == "join") {
            std::string outcome;
            for (auto &call : started_)
                outcome += (outcome.empty() ? "" : " ; ") + call.get();
            return started_.clear(), outcome;
        }
        const std::string self = what.substr(0, what.find('.'));
        slot_ = what.substr(std::min(self.size() + 1, what.size()));
        if (objects.count(self) == 0)
            return "there is no " + what;
        Held &held = objects[self];
        const std::string slot = held.kind + "." + slot_;
        const unsigned long calls = attached ? cimsim_calls(slot.c_str()) : 0;
        held.owned = held.owned && slot_ != "release";
        const std::string outcome = call_slot(held);
        EXPECT_TRUE(!attached || cimsim_calls(slot.c_str()) != calls) << slot;
        return outcome;
    }

    std::string call_slot(const Held &held) {
        const std::string &kind = held.kind;
#define SLOT(object, number, slot)                                                                           \
    if (kind == #object && slot_ == #slot)                                                                   \
        return call_slot(static_cast<object *>(held.pointer), static_cast<object *>(held.pointer)->ft->slot);
#define KIND(object) SLOT(object, -1, release) SLOT(object, 0, clone)
#define COMMAND(name, function)
#include "client/slots.def"
#include "commands.def"
        ADD_FAILURE() << "no slot " << slot_;
        return "";
    }

    // Calls a service's method with the arguments Name=value, Name=[job], Name=@software. Returns the return
    // value and the outputs, "0" or "2 MessageID=JQ001 Message=no", or the status.
    std::string invoke(const Words &words) {
        const std::string &method = words[0];
        const auto has = [&](const char *part) { return method.find(part) != method.npos; };
        run("in_ = native_new_CMPIArgs ; out_ = native_new_CMPIArgs");
        for (size_t i = 1; i < words.size(); ++i) {
            const std::string name = words[i].substr(0, words[i].find('=')),
                              text = words[i].substr(name.size() + 1);
            if (text[0] == '[') {
                const Words elements = split(text.substr(1, text.size() - 2), ',');
                run("array_ = native_new_CMPIArray " + std::to_string(elements.size()) + " string");
                for (size_t at = 0; at < elements.size(); ++at)
                    run("array_.setElementAt " + std::to_string(at) + " chars:" + elements[at]);
                run("in_.addArg " + name + " string[]:@array_");
            } else if (text[0] == '@') {
                run("target_ = job_path " + text.substr(1) + " VELK_SoftwareIdentity");
                run("in_.addArg " + name + " reference:@target_");
            } else {
                run("in_.addArg " + name + " chars:" + text);
            }
        }
        run(std::string("service_ = service_path ") + (has("Queue") ? "VELK_JobService"
                                                       : has("Install") || has("Reboot")
                                                           ? "VELK_SoftwareInstallationService"
                                                           : "VELK_QMService"));
        std::string outcome = run("client.invokeMethod service_ " + method + " in_ out_");
        const bool answered = outcome.rfind("uint32:", 0) == 0;
        outcome = std::regex_replace(outcome, std::regex("^(uint32:|notfound, )"), "");
        auto *const out = static_cast<CMPIArgs *>(objects["out_"].pointer);
        for (unsigned i = 0; answered && i < out->ft->getArgCount(out, nullptr); ++i) {
            CMPIString *name = nullptr;
            const CMPIData output = out->ft->getArgAt(out, i, &name, nullptr);
            outcome += " " + cmpi::text(name) + "=" +
                       (output.type == CMPI_string ? cmpi::text(output.value.string) : in_notation(output));
        }
        for (const char *name : {"in_", "out_", "array_", "target_", "service_"}) {
            release_held(name);
            objects.erase(name);
        }
        return outcome;
    }
};

// An empty folder as the current one, until the object is destroyed. Contains the programs ./run and ./test.
struct Folder {
    const std::filesystem::path before = std::filesystem::current_path();

    Folder() {
        char name[] = "/tmp/cimsim_test_XXXXXX";
        std::filesystem::current_path(mkdtemp(name));
        const char *const emulator = getenv("XAVO_EMULATOR");
        std::ofstream("run")
            << "#!/bin/sh\nexec 2>/dev/null\nexport SCRIPT_LINE=\"$*\" SCRIPT_NAME=\"$0\"\n(exec "
            << (emulator == nullptr ? "" : emulator) << " "
            << std::filesystem::read_symlink("/proc/self/exe").string() << " 2>&1)\nexit $?\n";
        std::filesystem::permissions("run", std::filesystem::perms::owner_all);
        std::filesystem::create_hard_link("run", "test");
        setenv("COMMANDS", SCRIPTS "/../commands.def", 1);
    }
    ~Folder() {
        const auto folder = std::filesystem::current_path();
        std::filesystem::current_path(before);
        std::filesystem::remove_all(folder);
    }
};

// A part of a script.
class ScriptTest : public testing::Test {
public:
    using Lines = std::vector<test::Line>;
    ScriptTest(std::string file, Lines lines) : file_(std::move(file)), lines_(std::move(lines)) {}
    void TestBody() override {
        const Folder folder;
        std::signal(SIGPIPE, [](int) { ++sigpipes; });
        Interpreter interpreter;
        interpreter.run("reset ; count_misuse 1 ; freeze_time 1 ; client = connect guest01ff");
        for (const auto &[number, line] : lines_) {
            const size_t arrow = std::min(line.find(" => "), line.size());
            const std::string expected = line.substr(std::min(arrow + 4, line.size()));
            const std::string outcome = interpreter.run(line.substr(0, arrow));
            if (outcome != expected)
                ADD_FAILURE_AT(file_.c_str(), number) << line.substr(0, arrow) << "\n"
                                                      << test::difference(expected, outcome);
        }
        for (const auto &object : interpreter.objects)
            if (object.first != "client")
                interpreter.release_held(object.first);
        interpreter.release_held("client");
        EXPECT_EQ(interpreter.run("owned ; pooled"), "0 ; 0") << cimsim_live();
        EXPECT_EQ(cimsim_misuses(), 0U) << cimsim_last_misuse();
    }

private:
    std::string file_;
    Lines lines_;
};

// Registers each part of a script as a test.
void register_script(const std::filesystem::path &path) {
    ScriptTest::Lines begin, lines;
    std::string title;
    const auto end = [&] {
        if (title.empty())
            begin = lines;
        else
            testing::RegisterTest(("Script/" + path.stem().string()).c_str(), title.c_str(), nullptr, nullptr,
                                  path.c_str(), lines.front().number,
                                  [=]() -> testing::Test * { return new ScriptTest(path.string(), lines); });
        lines = begin;
    };
    for (const test::Line &line : test::lines_of(path.string())) {
        if (line.text.rfind("== ", 0) != 0) {
            lines.push_back(line);
            continue;
        }
        end();
        title = std::regex_replace(line.text.substr(3), std::regex("[^A-Za-z0-9]+"), "_");
    }
    end();
}

const bool registered = [] {
    if (const char *const line = getenv("SCRIPT_LINE"); line != nullptr) { // ./run or ./test: runs no tests
        Interpreter interpreter;
        interpreter.attached = getenv("SCRIPT_NAME") == std::string("./run");
        if (interpreter.attached)
            cimsim_use_state(getenv("CIMSIM_STATE"));
        if (const std::string outcome = interpreter.run_rest(line); !outcome.empty())
            puts(outcome.c_str());
        exit(0);
    }
    for (const auto &entry : std::filesystem::directory_iterator(SCRIPTS))
        register_script(entry.path());
    return true;
}();

} // namespace
