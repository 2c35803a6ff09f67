// notation.cpp - parses and writes the text notation of CIM values.
#include "value/notation.h"

#include <algorithm>
#include <charconv>
#include <cstring>

namespace cimsim {

namespace {

const struct {
    const char *name;
    CMPIType type;
} types[] = {{"boolean", CMPI_boolean},   {"char16", CMPI_char16},
             {"uint8", CMPI_uint8},       {"uint16", CMPI_uint16},
             {"uint32", CMPI_uint32},     {"uint64", CMPI_uint64},
             {"sint8", CMPI_sint8},       {"sint16", CMPI_sint16},
             {"sint32", CMPI_sint32},     {"sint64", CMPI_sint64},
             {"real32", CMPI_real32},     {"real64", CMPI_real64},
             {"string", CMPI_string},     {"chars", CMPI_chars},
             {"datetime", CMPI_dateTime}, {"reference", CMPI_ref},
             {"instance", CMPI_instance}, {"args", CMPI_args},
             {"class", CMPI_class},       {"enumeration", CMPI_enumeration},
             {"filter", CMPI_filter},     {"pointer", CMPI_ptr},
             {"charsptr", CMPI_charsptr}};

// Prefixes that add a state to a value.
const struct {
    const char *name;
    CMPIValueState flag;
} states[] = {
    {"key", CMPI_keyValue}, {"notfound", CMPI_notFound}, {"bad", CMPI_badValue}, {"nulled", CMPI_nullValue}};

// ---- Parsing ------------------------------------------------------------------------------------

class ValueParser {
public:
    explicit ValueParser(const Statement &statement) : statement_(statement) {}

    std::optional<Value> parse(const Word &word) const {
        if (word.quoted)
            return Value::string(word.text);
        if (word.text == "lacking")
            return std::nullopt;
        return parse(word.text);
    }

private:
    const Statement &statement_;
    mutable int depth_ = 0; // of the value that is being parsed: 1 if no other value contains it

    // The text before the first colon, and the text after it.
    struct Parts {
        std::string head, rest;
        bool has_rest;
    };
    static Parts split(const std::string &text) {
        const std::size_t colon = text.find(':');
        return {text.substr(0, colon), colon == std::string::npos ? "" : text.substr(colon + 1),
                colon != std::string::npos};
    }

    Value parse(const std::string &text) const {
        if (++depth_ > 101) // bounds the use of the stack
            statement_.fail("a value is nested in more than 100 others");
        Value value = parse_one(text);
        --depth_;
        return value;
    }

    Value parse_one(const std::string &text) const {
        const auto [head, rest, has_rest] = split(text);
        if (!has_rest) {
            if (head == "null")
                return Value::null(CMPI_string);
            if (head == "blank")
                return blank();
            if (head == "notfound")
                return with_state(Value(), CMPI_notFound);
        } else if (const auto type = type_named(head); type && !(*type & CMPI_ARRAY)) {
            return parse_typed(*type, rest);
        } else if (head == "null" || head == "unset" || head == "none") {
            const CMPIType of = parse_type(rest);
            return head == "null"    ? Value::null(of)
                   : head == "unset" ? Value::unset(of)
                                     : Value(of, Kind::none);
        } else if (head == "array") {
            return parse_array(rest);
        } else if (head == "as") {
            return parse_as(rest);
        } else {
            for (const auto &state : states)
                if (head == state.name) {
                    Value value = parse(rest);
                    return with_state(value, static_cast<CMPIValueState>(value.state | state.flag));
                }
        }
        statement_.fail("\"" + text + "\" is not a value: write \"text\", null, lacking or TYPE:VALUE");
    }

    static Value blank() {
        Value value = Value::string({});
        value.blank = true;
        return value;
    }

    static Value with_state(Value value, CMPIValueState state) {
        value.state = state;
        return value;
    }

    CMPIType parse_type(const std::string &name) const {
        const auto type = type_named(name);
        if (!type)
            statement_.fail("there is no type \"" + name + "\"");
        return *type;
    }

    // TYPE:VALUE, a value under the code of another type.
    Value parse_as(const std::string &text) const {
        const auto [name, rest, has_rest] = split(text);
        const CMPIType type = parse_type(name);
        Value value = parse(rest);
        value.type = type;
        return value;
    }

    // Independent of the locale: the decimal separator is a point.
    template <class Number>
    Number parse_number(const std::string &text) const {
        Number number = {};
        const char *const end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data(), end, number);
        if (rest != end || error != std::errc())
            statement_.fail("\"" + text + "\" is not a number");
        return number;
    }

    template <class Real>
    Value parse_real(CMPIType type, const std::string &text) const {
        const auto real = parse_number<Real>(text);
        return Value::number(type, load_number(type, &real));
    }

    Value parse_number(CMPIType type, const std::string &text) const {
        if (type == CMPI_real32)
            return parse_real<float>(type, text);
        if (type == CMPI_real64)
            return parse_real<double>(type, text);
        Value value =
            Value::number(type, text[0] == '-' ? static_cast<CMPIUint64>(parse_number<long long>(text))
                                               : parse_number<CMPIUint64>(text));
        if (to_text(value) != text) // it does not fit the type
            statement_.fail("\"" + text + "\" is not of type " + type_name(type));
        return value;
    }

    // The text after "TYPE:".
    Value parse_typed(CMPIType type, const std::string &text) const {
        if (is_number(type))
            return parse_number(type, text);
        if (type == CMPI_string)
            return Value::string(text);
        if (type == CMPI_chars || type == CMPI_dateTime) {
            Value value(type, type == CMPI_chars ? Kind::chars : Kind::date_time);
            value.text = text;
            return value;
        }
        if (type != CMPI_ref && type != CMPI_instance)
            statement_.fail("there is no value of type " + type_name(type));
        return parse_contents(type, text);
    }

    Value parse_contents(CMPIType type, const std::string &text) const {
        const Statement parts = parts_of(text);
        const bool is_path = type == CMPI_ref;
        if (parts.words.size() != (is_path ? 1 : 0))
            statement_.fail(is_path ? "a reference is written reference:\"NAMESPACE CLASS KEY=VALUE...\""
                                    : "an instance is written instance:\"CLASS NAME=VALUE...\"");
        Value value = Value::with_contents(type, is_path ? Kind::path : Kind::instance);
        if (is_path)
            value.contents->name_space = parts.name;
        value.contents->class_name = is_path ? parts.words[0].text : parts.name;
        for (const auto &[name, part] : parts.options)
            if (std::optional<Value> item = parse(part))
                value.contents->items.push_back({name, std::move(*item)});
        return value;
    }

    Value parse_array(const std::string &text) const {
        const Statement parts = parts_of(text);
        const auto type = type_named(parts.name);
        if (!type || !parts.options.empty())
            statement_.fail("an array is written array:\"TYPE VALUE...\"");
        std::vector<Value> elements;
        for (const Word &part : parts.words)
            elements.push_back(parse_element(*type, part));
        return Value::array(*type, std::move(elements));
    }

    Value parse_element(CMPIType type, const Word &part) const {
        if (part.quoted)
            return parse_typed(type, part.text);
        if (part.text == "null")
            return Value::unset(type);
        return has_prefix(part.text) ? parse(part.text) : parse_typed(type, part.text);
    }

    // Whether the text of an element begins with a type or another prefix of the notation.
    static bool has_prefix(const std::string &text) {
        const auto [head, rest, has_rest] = split(text);
        const auto is_head = [&head = head](const auto &known) { return head == known.name; };
        const char *const others[] = {"null", "unset", "none", "array", "as"};
        return has_rest && (std::any_of(std::begin(types), std::end(types), is_head) ||
                            std::any_of(std::begin(states), std::end(states), is_head) ||
                            std::find(std::begin(others), std::end(others), head) != std::end(others));
    }

    // The parts of a value that is written like a statement.
    Statement parts_of(const std::string &text) const {
        try {
            std::vector<Statement> parts = cimsim::parse(text);
            if (parts.size() == 1)
                return std::move(parts[0]);
        } catch (const StatementError &error) {
            statement_.fail(error.what());
        }
        statement_.fail("\"" + text + "\" has not exactly one line");
    }
};

// ---- Writing ------------------------------------------------------------------------------------

// The text, in quotation marks if it would otherwise not be read as one word.
std::string word(const std::string &text) {
    const auto is_plain = [](char c) { return c > ' ' && c < 0x7f && !std::strchr("\"\\=,;|#()", c); };
    return !text.empty() && std::all_of(text.begin(), text.end(), is_plain) ? text : quoted(text);
}

template <class Real>
std::string real_text(CMPIType type, CMPIUint64 bits) {
    CMPIValue stored;
    store_number(type, bits, &stored);
    Real real;
    std::memcpy(&real, &stored, sizeof real);
    char text[64];
    return {text, std::to_chars(text, std::end(text), real).ptr};
}

// " NAME=VALUE" for each item; nullopt if one of them has no notation.
std::optional<std::string> items_text(const std::vector<Item> &items) {
    std::string all;
    for (const Item &item : items) {
        const std::string text = value_text(item.value);
        if (text.empty())
            return std::nullopt;
        all += " " + word(item.name) + "=" + text;
    }
    return all;
}

// The type that belongs to the value's kind. It can differ from the value's type after cimsim_with_type.
CMPIType own_type(const Value &value) {
    switch (value.kind) {
    case Kind::number:
        return is_number(value.type) ? value.type : CMPIType{CMPI_uint64};
    case Kind::chars:
        return CMPI_chars;
    case Kind::string:
        return CMPI_string;
    case Kind::date_time:
        return CMPI_dateTime;
    case Kind::path:
        return CMPI_ref;
    case Kind::instance:
        return CMPI_instance;
    default:
        return value.type;
    }
}

// The text after "TYPE:"; empty for an object without a notation.
std::string typed_text(const Value &value) {
    const CMPIType type = own_type(value);
    switch (value.kind) {
    case Kind::number: {
        Value number = Value::number(type, value.bits);
        return type == CMPI_real32   ? real_text<float>(type, value.bits)
               : type == CMPI_real64 ? real_text<double>(type, value.bits)
                                     : to_text(number);
    }
    case Kind::string:
    case Kind::chars:
    case Kind::date_time:
        return word(value.text);
    case Kind::path:
    case Kind::instance: {
        const auto items = items_text(value.contents->items);
        const std::string space = value.kind == Kind::path ? word(value.contents->name_space) + " " : "";
        return items ? word(space + word(value.contents->class_name) + *items) : "";
    }
    default:
        return {};
    }
}

std::string element_text(CMPIType type, const Value &element) {
    if (element.type == type && element.kind == Kind::none && element.state == CMPI_nullValue)
        return "null";
    const bool plain = element.type == type && own_type(element) == type && element.state == CMPI_goodValue &&
                       !element.blank;
    if (!plain)
        return value_text(element);
    const std::string text = typed_text(element);
    const bool looks_prefixed = text[0] != '"' && text.find(':') != std::string::npos;
    return text == "null" || looks_prefixed ? quoted(text) : text;
}

std::string array_text(const Value &array) {
    const auto type = static_cast<CMPIType>(array.type & ~CMPI_ARRAY);
    std::string all = type_name(type);
    for (const Value &element : array.contents->elements) {
        const std::string text = element_text(type, element);
        if (all.empty() || text.empty())
            return {};
        all += " " + text;
    }
    return all.empty() ? "" : "array:" + word(all);
}

// The notation without the prefixes for the state, such as "bad:". If `is_null`, the text itself gives the
// null state: "null:uint32", "unset:string".
std::string stateless_text(const Value &value, bool is_null) {
    if (value.kind == Kind::none && value.type == CMPI_null)
        return "notfound";
    const std::string type = type_name(value.type);
    if (type.empty())
        return {};
    if (value.kind == Kind::none)
        return (!is_null ? "none:" : value.type == CMPI_string ? "unset:" : "null:") + type;
    if (value.kind == Kind::array)
        return value.type & CMPI_ARRAY ? array_text(value) : "";
    if (value.blank && value.type == CMPI_string)
        return is_null ? "null:string" : "blank";
    const std::string own = type_name(own_type(value)),
                      text = value.blank ? "blank" : own + ":" + typed_text(value);
    if (text.back() == ':')
        return {};
    return own == type ? text : "as:" + type + ":" + text;
}

} // namespace

std::string type_name(CMPIType type) {
    const auto simple = static_cast<CMPIType>(type & ~CMPI_ARRAY);
    for (const auto &known : types)
        if (known.type == simple)
            return known.name + std::string(type == simple ? "" : "[]");
    return {};
}

std::optional<CMPIType> type_named(std::string_view name) {
    const bool is_array = name.size() > 2 && name.substr(name.size() - 2) == "[]";
    if (is_array)
        name.remove_suffix(2);
    for (const auto &known : types)
        if (name == known.name)
            return static_cast<CMPIType>(known.type | (is_array ? CMPI_ARRAY : 0));
    return std::nullopt;
}

std::optional<Value> parse_value(const Statement &statement, const Word &word) {
    return ValueParser(statement).parse(word);
}

std::optional<Value> parse_value(const std::string &text) {
    const std::vector<Statement> statements = parse("value " + text);
    if (statements.size() != 1 || statements[0].words.size() != 1 || !statements[0].options.empty())
        throw StatementError(1, "value: \"" + text + "\" is not one value");
    return parse_value(statements[0], statements[0].words[0]);
}

std::string value_text(const std::optional<Value> &value) {
    if (!value)
        return "lacking";
    const bool is_null = (value->state & CMPI_nullValue) != 0 && (value->kind == Kind::none || value->blank);
    std::string text = stateless_text(*value, is_null);
    if (text.empty() || text == "notfound")
        return text;
    CMPIValueState rest = value->state;
    if (is_null)
        rest = static_cast<CMPIValueState>(rest & ~CMPI_nullValue);
    for (const auto &state : states)
        if (rest & state.flag) {
            text.insert(0, ":").insert(0, state.name);
            rest = static_cast<CMPIValueState>(rest & ~state.flag);
        }
    return rest == 0 ? text : "";
}

} // namespace cimsim
