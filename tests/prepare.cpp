#include "prepare.h"
#include "table.h"

#include <cstdlib>

namespace test {

namespace {

cimsim_value *value_in(const std::string &word) {
    return word.empty() || word == "-" ? nullptr : cimsim_parse_value(word.c_str());
}

} // namespace

void prepare(const std::string &script) {
    for (const std::string &command : split(script, ';')) {
        Row words = words_in(command);
        const std::string name = words.empty() ? "" : words[0];
        words.resize(4);
        const std::string first = unquoted(words[1]), other = unquoted(words[2]);
        const char *const text = first.c_str(), *const second = other.c_str();
        const auto number = static_cast<int>(strtol(text, nullptr, 0));
        const auto count = static_cast<unsigned>(number);
        name == "answer_return"      ? cimsim_answer_return(value_in(words[1]))
        : name == "answer_output"    ? cimsim_answer_output(text, value_in(words[2]))
        : name == "answer_status"    ? cimsim_answer_status(static_cast<CMPIrc>(number), second)
        : name == "add_element"      ? cimsim_add_element(count, value_in(words[2]))
        : name == "set_job_property" ? cimsim_set_job_property(text, second, value_in(words[3]))
        : name == "advance"          ? cimsim_advance(count)
        : name == "set_lockdown"     ? cimsim_set_lockdown(number)
        : name == "set_job_limit"    ? cimsim_set_job_limit(count)
        : name == "set_reachable"    ? cimsim_set_reachable(number)
        : name == "refuse_user"      ? cimsim_refuse_user(text)
        : name == "restart_broker"   ? cimsim_restart_broker(count)
        : name == "count_misuse"     ? cimsim_count_misuse(number)
        : name == "reset"            ? cimsim_reset()
        : name.empty()               ? (void)0
                                     : abort();
    }
}

std::string last_request() {
    const cimsim_request *request = cimsim_last_request();
    if (request == nullptr)
        return "";
    const auto list = [](const cimsim_item *items, unsigned count) {
        std::string all;
        for (unsigned i = 0; i < count; ++i)
            all += (i == 0 ? "" : ", ") + std::string(items[i].name) + "=" + items[i].value;
        return "(" + all + ")";
    };
    const std::string path = std::string(request->name_space) + ":" + request->class_name +
                             (request->key_count == 0 ? "" : list(request->keys, request->key_count)) + " ";
    if (request->method[0] == '\0')
        return path + request->operation + " flags=" + std::to_string(request->flags);
    return path + request->method + list(request->arguments, request->argument_count);
}

} // namespace test
