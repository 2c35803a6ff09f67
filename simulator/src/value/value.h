// value.h - the simulator's representation of CIM values: arguments, keys, properties and outputs. Objects of
// the client library are made from values when they are handed out.
#ifndef CIMSIM_VALUE_H
#define CIMSIM_VALUE_H

#include <CimClientLib/cmcidt.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace cimsim {

// What a value contains: nothing (a NULL pointer), a number, characters in memory from malloc, or one of the
// client library's objects.
enum class Kind : unsigned char {
    none,
    number,
    chars,
    string, // from here on: objects
    array,
    args,
    enumeration,
    path,
    instance,
    date_time,
    const_class,
    client,
    count
};

inline bool is_object(Kind kind) { return kind >= Kind::string; }

struct Contents;

// `type` and `state` are what the program reads; `kind` is what the value really contains. A test can make
// them differ.
struct Value {
    CMPIType type = CMPI_null;
    CMPIValueState state = CMPI_nullValue;
    Kind kind = Kind::none;
    bool blank = false; // a string object whose character pointer is NULL
    CMPIUint64 bits = 0;
    std::string text;
    std::shared_ptr<Contents> contents; // shared between copies until one of them is edited

    Value() = default;
    Value(CMPIType type_, Kind kind_) : type(type_), state(CMPI_goodValue), kind(kind_) {}

    static Value unset(CMPIType type); // state null, with a NULL pointer
    static Value null(CMPIType type);  // state null, as the real library hands it out: a string has an object
    static Value string(std::string text);
    static Value number(CMPIType type, CMPIUint64 bits);
    static Value with_contents(CMPIType type, Kind kind);
    static Value array(CMPIType element_type, std::vector<Value> elements);

    Contents &edit(); // returns the contents to change them; first copies them if other values share them
};

// A key, an argument or a property.
struct Item {
    std::string name;
    Value value;
    CMPIType given = value.type; // the type that the program gave to addKey, addArg or setProperty
};

// The contents of a path, an instance, an argument list, an array or an enumeration.
struct Contents {
    std::string host, name_space, class_name; // empty: not set
    std::vector<Item> items;
    std::vector<Value> elements;

    const Item *find(const char *name) const;
    void put(const char *name, Value value, CMPIType given);
};

bool same_name(const char *a, const char *b); // ignores case

// The text, or an empty one for NULL.
inline const char *text_or_empty(const char *text) { return text ? text : ""; }

// The number that a text of digits denotes; nullopt if it has other characters or is greater than `most`.
std::optional<CMPIUint64> whole_number(const std::string &text, CMPIUint64 most);

bool is_number(CMPIType type);
CMPIUint64 load_number(CMPIType type, const void *from); // reads no more bytes than the type has
void store_number(CMPIType type, CMPIUint64 bits, CMPIValue *to);

// The value as text: characters, decimal numbers, [a,b], ns:Class.Key="v".
std::string to_text(const Value &value);

} // namespace cimsim

#endif
