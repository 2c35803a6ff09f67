// scene.cpp - checks the words and options of each statement of a scene or a state, and applies it.
#include "control/scene.h"

#include "control/statements.h"

namespace cimsim {

namespace {

// Moves options without a value, such as "fails", from the words to the options: the parser does not know
// which words are options of this form. Then checks the options and the number of words.
void separate_options(const StatementForm &form, Statement &s) {
    const std::string known = " " + std::string(form.options) + " ";
    const auto is_option = [&](const std::string &name) {
        return name.find(' ') == std::string::npos && known.find(" " + name + " ") != std::string::npos;
    };
    const auto has_no_value = [&](const std::string &name) {
        return (name == "fails" || name == "with-result" || name == "from") && is_option(name);
    };
    for (const auto &option : s.options)
        if (has_no_value(option.first))
            s.fail(option.first + " takes no value");
    for (auto word = s.words.begin(); word != s.words.end();)
        if (!word->quoted && has_no_value(word->text)) {
            s.options.emplace_back(word->text, Word());
            word = s.words.erase(word);
        } else {
            ++word;
        }
    for (auto option = s.options.begin(); option != s.options.end(); ++option) {
        if (!is_option(option->first) && !is_option("*"))
            s.fail("there is no option \"" + option->first + "\"");
        if (s.option(option->first.c_str()) != &option->second)
            s.fail(option->first + " is given twice");
    }
    if (s.words.size() < form.least || s.words.size() > form.most)
        s.fail("it needs " + std::to_string(form.least) +
               (form.most == any_number_of_words ? " words or more"
                : form.least == 1                ? " word"
                                                 : " words") +
               ", not " + std::to_string(s.words.size()));
}

} // namespace

void apply_scene(Simulator &simulator, const std::string &text) {
    for (Statement &statement : parse(text)) {
        const StatementForm *const form = find_statement(statement.name);
        if (!form)
            throw StatementError(statement.line, "there is no statement \"" + statement.name + "\"");
        separate_options(*form, statement);
        form->apply(simulator, statement);
    }
}

void clear_scene(Simulator &simulator) {
    simulator.controller = {};
    Broker &broker = simulator.broker;
    broker.reachable = true;
    broker.garbage = false;
    broker.hold_ms = 0;
    broker.refused.clear();
    broker.scripted_answers.clear();
    broker.extra_elements.clear();
    broker.journal = false;
    simulator.recorder.faults.clear();
    simulator.recorder.last_injected.clear();
}

} // namespace cimsim
