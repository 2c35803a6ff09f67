// cmpi.h - ownership of the client library's objects, and access to its values.
#ifndef XAVO_CMPI_H
#define XAVO_CMPI_H

#include <XAVO.h>

namespace xavo {

// Releases an object and sets the pointer to NULL. The release function's status is ignored: the library
// cannot release the object in another way.
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
    // Returns the object and gives up its ownership, without releasing it.
    Object *detach() {
        Object *object = object_;
        object_ = nullptr;
        return object;
    }

    Object *get() const { return object_; }
    // Returns the address of the pointer, for calls that take a value by its address.
    Object **address() { return &object_; }
    Object *operator->() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

private:
    Object *object_;
};

// The status of one call. `code` and `check` release the status's message: call one of them, exactly once.
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
    // Returns whether the call succeeded. If not, sets the error code by the status.
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

// Returns the defined bits of a CMPIUint32, which can be 64 bits wide.
inline CMPIUint32 low_32_bits(CMPIUint32 value) { return value & 0xffffffffU; }

// Return a value in the form that addKey and addArg take: the character pointer itself for a string, the
// address of the variable for any other value.
inline CMPIValue *text_value(const char *text) {
    return reinterpret_cast<CMPIValue *>(const_cast<char *>(text));
}

template <typename Variable>
CMPIValue *value_at(Variable *variable) {
    return static_cast<CMPIValue *>(const_cast<void *>(static_cast<const void *>(variable)));
}

// Returns the characters of a string value; NULL if it is not a string or has no characters. The state is not
// checked: a value can hold a string even if its state is not CMPI_goodValue.
inline const char *characters(const CMPIData &data) {
    if (data.type != CMPI_string || data.value.string == nullptr)
        return nullptr;
    return data.value.string->ft->getCharPtr(data.value.string, nullptr);
}

} // namespace xavo

#endif
