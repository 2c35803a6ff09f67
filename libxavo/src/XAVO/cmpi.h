// cmpi.h - ownership of the client library's objects, and access to its values.
#ifndef XAVO_CMPI_H
#define XAVO_CMPI_H

#include <XAVO.h>

namespace xavo {

// Releases an object and sets the pointer to NULL. The status is ignored: nothing can be done about it.
template <typename Object>
void release(Object *&object) {
    if (object != nullptr) {
        object->ft->release(object);
        object = nullptr;
    }
}

// Owns one CMPI object.
template <typename Object>
class Owner {
public:
    explicit Owner(Object *object = nullptr) : object_(object) {}
    ~Owner() { release(object_); }
    Owner(const Owner &) = delete;
    Owner &operator=(const Owner &) = delete;

    // Releases the owned object, then owns `object`. Returns `object`.
    Object *reset(Object *object = nullptr) {
        release(object_);
        return object_ = object;
    }
    // Gives up ownership without releasing.
    Object *detach() {
        Object *object = object_;
        object_ = nullptr;
        return object;
    }

    Object *get() const { return object_; }
    // For calls that take the address of the variable that holds the object.
    Object **address() { return &object_; }
    Object *operator->() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

private:
    Object *object_;
};

// The status of one call. Reading the code releases the message; read it exactly once.
class Status {
public:
    Status() = default;
    // For calls that return their status.
    explicit Status(CMPIStatus returned) : status_(returned) {}
    Status(const Status &) = delete;
    Status &operator=(const Status &) = delete;

    // For calls that store their status.
    CMPIStatus *out() { return &status_; }
    CMPIrc code() {
        release(status_.msg);
        return status_.rc;
    }
    // Returns whether the call succeeded; if not, sets the error code.
    bool check(XAVO_ErrorCode *errorcodep) {
        const CMPIrc rc = code();
        if (rc != CMPI_RC_OK)
            *errorcodep = XAVO_translate_error_code(rc);
        return rc == CMPI_RC_OK;
    }

private:
    CMPIStatus status_ = {CMPI_RC_OK, nullptr};
};

// A value is present when its state is CMPI_goodValue or CMPI_keyValue.
inline bool is_present(const CMPIData &data) { return (data.state & ~CMPI_keyValue) == CMPI_goodValue; }

// Only the low 32 bits of a uint32 of the client library are defined.
inline CMPIUint32 low_32_bits(CMPIUint32 value) { return value & 0xffffffffU; }

// addKey and addArg take a string as the character pointer itself, any other value by its address.
inline CMPIValue *text_value(const char *text) {
    return reinterpret_cast<CMPIValue *>(const_cast<char *>(text));
}

template <typename Variable>
CMPIValue *value_at(Variable *variable) {
    return static_cast<CMPIValue *>(const_cast<void *>(static_cast<const void *>(variable)));
}

// Returns the characters of a string value; NULL when it is not a string or has no characters. Only
// the type is checked: a value whose state is not good can still hold a string.
inline const char *characters(const CMPIData &data) {
    if (data.type != CMPI_string || data.value.string == nullptr)
        return nullptr;
    return data.value.string->ft->getCharPtr(data.value.string, nullptr);
}

} // namespace xavo

#endif
