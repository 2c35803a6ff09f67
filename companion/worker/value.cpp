#include "value.h"

#include "libxavo.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

namespace xavo_worker {

using namespace xavo_companion;

namespace {

constexpr int MOST_DEPTH = 8; // of nested instances and references

// Text that grows. After a failure it stays as it is, and the failure is remembered.
class Text {
public:
    Text() = default;
    ~Text() { free(text_); }
    Text(const Text &) = delete;
    Text &operator=(const Text &) = delete;

    void add(const char *more, size_t length) {
        if (failed_ || length >= SIZE_MAX / 4) {
            failed_ = true;
            return;
        }
        if (length_ + length + 1 > room_) {
            const size_t room = (length_ + length + 1) * 2;
            auto *larger = static_cast<char *>(realloc(text_, room));
            if (larger == nullptr) {
                failed_ = true;
                return;
            }
            text_ = larger;
            room_ = room;
        }
        memcpy(text_ + length_, more, length);
        length_ += length;
        text_[length_] = '\0';
    }
    void add(const char *more) { add(more, strlen(more)); }
    __attribute__((format(printf, 2, 3))) void print(const char *format, ...) {
        char small[64];
        va_list values;
        va_start(values, format);
        vsnprintf(small, sizeof small, format, values); // NOLINT(clang-analyzer-valist.Uninitialized)
        va_end(values);
        add(small);
    }
    void fail() { failed_ = true; }
    bool ok() const { return !failed_; }
    const char *get() const { return text_ != nullptr ? text_ : ""; }

private:
    char *text_ = nullptr;
    size_t length_ = 0, room_ = 0;
    bool failed_ = false;
};

// The status of a call; its message is released and not used.
class Status {
public:
    ~Status() { release(status_.msg); }
    CMPIStatus *out() { return &status_; }
    bool ok() const { return status_.rc == CMPI_RC_OK; }
    Status() = default;
    Status(const Status &) = delete;
    Status &operator=(const Status &) = delete;

private:
    CMPIStatus status_ = {CMPI_RC_OK, nullptr};
};

bool is_array(const CMPIData &data) { return (data.type & CMPI_ARRAY) != 0; }

bool is_null(const CMPIData &data) {
    if ((data.state & (CMPI_nullValue | CMPI_notFound | CMPI_badValue)) != 0)
        return true;
    return (data.type & (CMPI_ENC | CMPI_ARRAY)) != 0 && data.value.string == nullptr;
}

// Adds the characters of a string object, and releases it. Returns false if it has none.
bool add_owned(Text *text, CMPIString *string) {
    const char *characters = string != nullptr ? string->ft->getCharPtr(string, nullptr) : nullptr;
    if (characters != nullptr)
        text->add(characters);
    release(string);
    return characters != nullptr;
}

void add_quoted(Text *text, const char *characters) {
    text->add("\"");
    for (const char *rest = characters; *rest != '\0';) {
        const size_t plain = strcspn(rest, "\"\\");
        text->add(rest, plain);
        rest += plain;
        if (*rest != '\0') {
            text->add("\\");
            text->add(rest++, 1);
        }
    }
    text->add("\"");
}

// Adds a 16-bit character as UTF-8; for half of a surrogate pair, adds U+FFFD.
void add_char16(Text *text, unsigned int code) {
    if (code >= 0xd800 && code < 0xe000)
        code = 0xfffd;
    const char bytes[] = {static_cast<char>(0xe0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 0x3f)),
                          static_cast<char>(0x80 | (code & 0x3f))};
    const char two[] = {static_cast<char>(0xc0 | code >> 6), bytes[2]}, one = static_cast<char>(code);
    if (code >= 0x800)
        text->add(bytes, 3);
    else if (code >= 0x80)
        text->add(two, 2);
    else if (code > 0)
        text->add(&one, 1);
}

void add_value(Text *text, const CMPIData &data, int depth);

// Adds a value inside another value: texts are quoted, so that they have a visible end.
void add_inner(Text *text, const CMPIData &data, int depth) {
    const bool quoted = (data.type & (CMPI_ENC | CMPI_ARRAY)) == CMPI_ENC && data.type != CMPI_instance;
    if (is_null(data))
        text->add("null");
    else if (is_array(data)) {
        CMPIArray *array = data.value.array;
        const CMPICount count = array->ft->getSize(array, nullptr);
        text->add("[");
        for (CMPICount i = 0; i < count; ++i) {
            if (i > 0)
                text->add(",");
            add_inner(text, array->ft->getElementAt(array, i, nullptr), depth); // belongs to the array
        }
        text->add("]");
    } else if (quoted) {
        Text inner;
        add_value(&inner, data, depth);
        add_quoted(text, inner.get());
        if (!inner.ok())
            text->fail();
    } else {
        add_value(text, data, depth);
    }
}

// namespace:Class.Key="value",...
void add_reference(Text *text, CMPIObjectPath *path, int depth) {
    if (depth == 0)
        return text->add("...");
    add_owned(text, path->ft->getNameSpace(path, nullptr));
    text->add(":");
    add_owned(text, path->ft->getClassName(path, nullptr));
    const unsigned int count = path->ft->getKeyCount(path, nullptr);
    for (unsigned int i = 0; i < count; ++i) {
        CMPIString *name = nullptr;
        CMPIData key = path->ft->getKeyAt(path, i, &name, nullptr);
        text->add(i > 0 ? "," : ".");
        add_owned(text, name);
        text->add("=");
        add_inner(text, key, depth - 1);
        libxavo.XAVO_free_CMPIData_value(&key);
    }
}

// {Name=value,...}
void add_instance(Text *text, CMPIInstance *instance, int depth) {
    if (depth == 0)
        return text->add("...");
    text->add("{");
    const unsigned int count = instance->ft->getPropertyCount(instance, nullptr);
    for (unsigned int i = 0; i < count; ++i) {
        CMPIString *name = nullptr;
        CMPIData value = instance->ft->getPropertyAt(instance, i, &name, nullptr);
        if (i > 0)
            text->add(",");
        add_owned(text, name);
        text->add("=");
        add_inner(text, value, depth - 1);
        libxavo.XAVO_free_CMPIData_value(&value);
    }
    text->add("}");
}

// A value that is neither null nor an array.
void add_value(Text *text, const CMPIData &data, int depth) {
    const CMPIValue &value = data.value;
    switch (data.type) {
    case CMPI_boolean:
        return text->add(value.boolean != 0 ? "true" : "false");
    case CMPI_char16:
        return add_char16(text, value.char16);
    case CMPI_uint8:
        return text->print("%u", value.uint8);
    case CMPI_uint16:
        return text->print("%u", value.uint16);
    case CMPI_uint32: // the higher bits are undefined
        return text->print("%u", static_cast<unsigned int>(value.uint32 & 0xffffffffU));
    case CMPI_uint64:
        return text->print("%llu", value.uint64);
    case CMPI_sint8:
        return text->print("%d", value.sint8);
    case CMPI_sint16:
        return text->print("%d", value.sint16);
    case CMPI_sint32:
        return text->print("%d", static_cast<int>(value.sint32));
    case CMPI_sint64:
        return text->print("%lld", value.sint64);
    case CMPI_real32:
        return text->print("%.9g", static_cast<double>(value.real32));
    case CMPI_real64:
        return text->print("%.17g", value.real64);
    case CMPI_string: {
        const char *characters = value.string->ft->getCharPtr(value.string, nullptr);
        return text->add(characters != nullptr ? characters : "");
    }
    case CMPI_chars:
        return text->add(value.chars);
    case CMPI_dateTime:
        add_owned(text, value.dateTime->ft->getStringFormat(value.dateTime, nullptr));
        return;
    case CMPI_ref:
        return add_reference(text, value.ref, depth);
    case CMPI_instance:
        return add_instance(text, value.inst, depth);
    default:
        return text->add(libxavo.XAVO_CMPIType_to_string(data.type));
    }
}

// The type of a value or of an array's elements, as CIM names it.
const char *type_name(CMPIType type) {
    switch (type & ~CMPI_ARRAY) {
    case CMPI_boolean:
        return "boolean";
    case CMPI_char16:
        return "char16";
    case CMPI_uint8:
        return "uint8";
    case CMPI_uint16:
        return "uint16";
    case CMPI_uint32:
        return "uint32";
    case CMPI_uint64:
        return "uint64";
    case CMPI_sint8:
        return "sint8";
    case CMPI_sint16:
        return "sint16";
    case CMPI_sint32:
        return "sint32";
    case CMPI_sint64:
        return "sint64";
    case CMPI_real32:
        return "real32";
    case CMPI_real64:
        return "real64";
    case CMPI_string:
    case CMPI_chars:
        return "string";
    case CMPI_dateTime:
        return "datetime";
    case CMPI_ref:
        return "reference";
    case CMPI_instance:
        return "instance";
    default:
        return "unknown";
    }
}

bool write_value(Writer *writer, const CMPIData &data) {
    if (is_null(data)) {
        writer->item(nullptr);
        return true;
    }
    Text text;
    add_value(&text, data, MOST_DEPTH);
    writer->item(text.get());
    return text.ok();
}

bool write_property(Writer *writer, const char *name, const CMPIData &data) {
    const bool null = is_null(data), array = is_array(data);
    const size_t begun = writer->begin(TAG_PROPERTY);
    writer->item(name);
    writer->item(type_name(data.type));
    writer->item(array ? null ? "an" : "a" : null ? "n" : "");
    bool written = true;
    if (!null && !array)
        written = write_value(writer, data);
    for (CMPICount i = 0,
                   count = null || !array ? 0 : data.value.array->ft->getSize(data.value.array, nullptr);
         i < count && written; ++i) {
        Status status;
        const CMPIData element = data.value.array->ft->getElementAt(data.value.array, i, status.out());
        written = status.ok() && write_value(writer, element);
    }
    writer->end(begun);
    return written;
}

// Writes one property. Copies its value to *class_name if it is CreationClassName.
bool write_property_at(Writer *writer, CMPIInstance *instance, unsigned int index, Text *class_name) {
    CMPIString *string = nullptr;
    Status status;
    CMPIData data = instance->ft->getPropertyAt(instance, index, &string, status.out());
    Text name;
    const bool named = add_owned(&name, string);
    if (!status.ok())
        return false; // the value is then not owned by the caller
    const bool written = named && name.ok() && write_property(writer, name.get(), data);
    if (data.type == CMPI_string && !is_null(data) && strcasecmp(name.get(), "CreationClassName") == 0)
        add_value(class_name, data, 0);
    libxavo.XAVO_free_CMPIData_value(&data);
    return written;
}

} // namespace

bool write_instance(Writer *writer, CMPIInstance *instance) {
    const size_t begun = writer->begin(TAG_INSTANCE);
    Text class_name;
    Status status;
    const unsigned int count = instance->ft->getPropertyCount(instance, status.out());
    bool written = status.ok();
    for (unsigned int i = 0; i < count && written; ++i)
        written = write_property_at(writer, instance, i, &class_name);
    writer->text(TAG_CLASS_NAME, class_name.get());
    writer->end(begun);
    return written && class_name.ok();
}

} // namespace xavo_worker
