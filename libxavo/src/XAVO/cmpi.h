// cmpi.h - owners of what the client library hands out.
#ifndef XAVO_CMPI_H
#define XAVO_CMPI_H

#include <XAVO.h>

namespace xavo {

// Releases an object and forgets it. The status that a release returns says nothing one could act on.
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

    // Releases the object that it owns, and owns another from now on.
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

// The status of one call. A message that comes with it is of no use here: it is let go when the code is
// asked for, which every call is, and once.
class Status {
public:
    Status() = default;
    // For calls that return their status.
    explicit Status(CMPIStatus returned) : status_(returned) {}
    Status(const Status &) = delete;
    Status &operator=(const Status &) = delete;

    // For calls that fill one in.
    CMPIStatus *out() { return &status_; }
    CMPIrc code() {
        release(status_.msg);
        return status_.rc;
    }
    // False: the call failed, and the error code says so.
    bool check(XAVO_ErrorCode *errorcodep) {
        const CMPIrc rc = code();
        if (rc != CMPI_RC_OK)
            *errorcodep = XAVO_translate_error_code(rc);
        return rc == CMPI_RC_OK;
    }

private:
    CMPIStatus status_ = {CMPI_RC_OK, nullptr};
};

// A value counts as present when nothing but the key bit is set in its state.
inline bool is_present(const CMPIData &data) { return (data.state & ~CMPI_keyValue) == CMPI_goodValue; }

// All that a uint32 of the client library promises.
inline CMPIUint32 low_32_bits(CMPIUint32 value) { return value & 0xffffffffU; }

// addKey and addArg take a string as the character pointer itself, everything else by address.
inline CMPIValue *text_value(const char *text) {
    return reinterpret_cast<CMPIValue *>(const_cast<char *>(text));
}

template <typename Variable>
CMPIValue *value_at(Variable *variable) {
    return static_cast<CMPIValue *>(const_cast<void *>(static_cast<const void *>(variable)));
}

// The characters of a string value; NULL when it is no string object or has none. Looks at the type
// alone, not at the state: a value whose state is not good may still bring its string along.
inline const char *characters(const CMPIData &data) {
    if (data.type != CMPI_string || data.value.string == nullptr)
        return nullptr;
    return data.value.string->ft->getCharPtr(data.value.string, nullptr);
}

} // namespace xavo

#endif
