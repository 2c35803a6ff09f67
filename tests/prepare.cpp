#include "prepare.h"
#include "table.h"

#include <cstdlib>
#include <iomanip>
#include <sstream>

namespace test {

cimsim_value *value_in(const std::string &text) {
    const auto colon = text.find(':');
    const std::string kind = text.substr(0, colon), rest = colon == text.npos ? "" : text.substr(colon + 1);
    const char *characters = colon == text.npos ? nullptr : rest.c_str();
    const auto type = [](const std::string &digits) {
        return static_cast<CMPIType>(std::stoul(digits, nullptr, 16));
    };
    if (kind == "-")
        return nullptr;
    if (kind == "string" || kind == "chars" || kind == "datetime" || kind == "instance")
        return (kind == "string"     ? cimsim_string
                : kind == "chars"    ? cimsim_chars
                : kind == "datetime" ? cimsim_datetime
                                     : cimsim_instance)(characters);
    if (kind == "null" || kind == "none")
        return (kind == "null" ? cimsim_null : cimsim_no_object)(type(rest));
    if (kind == "number")
        return cimsim_number(type(rest), std::stoull(rest.substr(5), nullptr, 0));
    if (kind == "state" || kind == "type")
        return (kind == "state" ? cimsim_with_state : cimsim_with_type)(value_in(rest.substr(5)), type(rest));
    const Row parts = split(rest, ',');
    if (kind == "ref")
        return cimsim_reference(parts[0].c_str(), parts[1].c_str(),
                                parts.size() > 2 ? parts[2].c_str() : nullptr,
                                parts.size() > 3 ? value_in(parts[3]) : nullptr);
    std::vector<cimsim_value *> elements;
    for (size_t i = 1; i < parts.size(); ++i)
        elements.push_back(value_in(parts[i]));
    return cimsim_array(type(parts[0]), static_cast<unsigned>(elements.size()), elements.data());
}

void prepare(const std::string &script) {
    for (const std::string &command : split(script, ';')) {
        std::string name, words[3] = {"", "", "-"};
        std::istringstream stream(command);
        stream >> name >> std::quoted(words[0]) >> std::quoted(words[1]) >> std::quoted(words[2]);
        const char *const text = words[0].c_str(), *const second = words[1].c_str();
        const auto number = static_cast<int>(strtol(text, nullptr, 0));
        const auto count = static_cast<unsigned>(number);
        name == "answer_return"      ? cimsim_answer_return(value_in(words[0]))
        : name == "answer_output"    ? cimsim_answer_output(text, value_in(words[1]))
        : name == "answer_status"    ? cimsim_answer_status(static_cast<CMPIrc>(number), second)
        : name == "add_element"      ? cimsim_add_element(count, value_in(words[1]))
        : name == "set_job_property" ? cimsim_set_job_property(text, second, value_in(words[2]))
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
    const auto item = [](const cimsim_item &i) {
        char type[8];
        snprintf(type, sizeof type, ":%04x=", i.type);
        return i.name + std::string(type) + i.text;
    };
    std::string text = std::string(request->name_space) + ":" + request->class_name;
    for (unsigned k = 0; k < request->key_count; ++k)
        text += (k == 0 ? "." : ",") + item(request->keys[k]);
    if (request->method[0] == '\0')
        return text + " " + request->operation + " flags=" + std::to_string(request->flags);
    text += std::string(" ") + request->method + "(";
    for (unsigned a = 0; a < request->argument_count; ++a)
        text += (a == 0 ? "" : ",") + item(request->arguments[a]);
    return text + ")";
}

} // namespace test
