// value.cpp - makes values, converts numbers, and renders values as text.
#include "value/value.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <strings.h>

namespace cimsim {

Value Value::unset(CMPIType type) {
    Value value(type, Kind::none);
    value.state = CMPI_nullValue;
    return value;
}

Value Value::null(CMPIType type) {
    Value value = unset(type);
    if (type == CMPI_string) { // has a string object, as in the real library
        value.kind = Kind::string;
        value.blank = true;
    }
    return value;
}

Value Value::string(std::string text) {
    Value value(CMPI_string, Kind::string);
    value.text = std::move(text);
    return value;
}

Value Value::number(CMPIType type, CMPIUint64 bits) {
    Value value(type, Kind::number);
    value.bits = bits;
    return value;
}

Value Value::with_contents(CMPIType type, Kind kind) {
    Value value(type, kind);
    value.contents = std::make_shared<Contents>();
    return value;
}

Value Value::array(CMPIType element_type, std::vector<Value> elements) {
    Value value = with_contents(static_cast<CMPIType>(element_type | CMPI_ARRAY), Kind::array);
    value.contents->elements = std::move(elements);
    return value;
}

Contents &Value::edit() {
    if (contents.use_count() != 1)
        contents = contents ? std::make_shared<Contents>(*contents) : std::make_shared<Contents>();
    return *contents;
}

bool same_name(const char *a, const char *b) { return strcasecmp(a, b) == 0; }

const Item *Contents::find(const char *name) const {
    for (const Item &item : items)
        if (name && same_name(item.name.c_str(), name))
            return &item;
    return nullptr;
}

void Contents::put(const char *name, Value value, CMPIType given) {
    for (Item &item : items)
        if (same_name(item.name.c_str(), name)) {
            item.value = std::move(value);
            item.given = given;
            return;
        }
    items.push_back({name, std::move(value), given});
}

namespace {

// Calls `use` with zeros of two C types: first the one in which CMPIValue stores numbers of the given CIM
// type, then the integer type with the width and sign of the CIM type. They differ for 32-bit integers, which
// CMPIValue stores in a long. Returns false if the CIM type is not that of a number.
template <class Use>
bool with_number_type(CMPIType type, Use use) {
    switch (type) {
    case CMPI_boolean:
    case CMPI_uint8:
        return use(std::uint8_t{}, std::uint8_t{}), true;
    case CMPI_sint8:
        return use(std::int8_t{}, std::int8_t{}), true;
    case CMPI_char16:
    case CMPI_uint16:
        return use(std::uint16_t{}, std::uint16_t{}), true;
    case CMPI_sint16:
        return use(std::int16_t{}, std::int16_t{}), true;
    case CMPI_uint32:
        return use(CMPIUint32{}, std::uint32_t{}), true;
    case CMPI_sint32:
        return use(CMPISint32{}, std::int32_t{}), true;
    case CMPI_real32:
        return use(std::uint32_t{}, std::uint32_t{}), true;
    case CMPI_uint64:
    case CMPI_real64:
        return use(std::uint64_t{}, std::uint64_t{}), true;
    case CMPI_sint64:
        return use(std::int64_t{}, std::int64_t{}), true;
    default:
        return false;
    }
}

std::string number_text(CMPIType type, CMPIUint64 bits) {
    std::string text = std::to_string(bits);
    if (type == CMPI_real32) {
        const auto word = static_cast<std::uint32_t>(bits);
        float real;
        std::memcpy(&real, &word, sizeof real);
        text = std::to_string(real);
    } else if (type == CMPI_real64) {
        double real;
        std::memcpy(&real, &bits, sizeof real);
        text = std::to_string(real);
    } else {
        with_number_type(type,
                         [&](auto, auto own) { text = std::to_string(static_cast<decltype(own)>(bits)); });
    }
    return text;
}

std::string path_text(const Contents &path) {
    std::string text = path.name_space + ":" + path.class_name;
    const char *separator = ".";
    for (const Item &key : path.items) {
        const char *quote = key.value.kind == Kind::number ? "" : "\"";
        text += separator + key.name + "=" + quote + to_text(key.value) + quote;
        separator = ",";
    }
    return text;
}

} // namespace

std::optional<CMPIUint64> whole_number(const std::string &text, CMPIUint64 most) {
    CMPIUint64 number = 0;
    const char *const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return rest == end && error == std::errc() && number <= most ? std::optional<CMPIUint64>(number)
                                                                 : std::nullopt;
}

bool is_number(CMPIType type) {
    return with_number_type(type, [](auto, auto) {});
}

CMPIUint64 load_number(CMPIType type, const void *from) {
    CMPIUint64 bits = 0;
    with_number_type(type, [&](auto carrier, auto own) {
        std::memcpy(&carrier, from, sizeof carrier);
        bits = static_cast<CMPIUint64>(+static_cast<decltype(own)>(carrier));
    });
    return bits;
}

void store_number(CMPIType type, CMPIUint64 bits, CMPIValue *to) {
    const bool known = with_number_type(type, [&](auto carrier, auto own) {
        carrier = static_cast<decltype(own)>(bits);
        std::memcpy(to, &carrier, sizeof carrier);
    });
    if (!known)
        to->uint64 = bits;
}

std::string to_text(const Value &value) {
    switch (value.kind) {
    case Kind::number:
        return number_text(value.type, value.bits);
    case Kind::path:
        return path_text(*value.contents);
    case Kind::array: {
        std::string text;
        const char *separator = "[";
        for (const Value &element : value.contents->elements) {
            text += separator + to_text(element);
            separator = ",";
        }
        return text.empty() ? "[]" : text + "]";
    }
    case Kind::instance:
        return value.contents->class_name;
    default:
        return value.text;
    }
}

} // namespace cimsim
