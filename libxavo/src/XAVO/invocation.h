// invocation.h - one method call, from the lock to the unlock.
//
// An operation creates an Invocation after its own checks, and then calls
//
//     call.set_path(path) && call.make_argument_lists() && call.add(...) && call.invoke(method)
//
// Each step returns false when the call has failed: the code is set, what must be logged is logged, and the
// destructor releases the rest, from the last of the members below to the first. After invoke the operation
// reads the outcome.
#ifndef XAVO_INVOCATION_H
#define XAVO_INVOCATION_H

#include "cmpi.h"
#include "exchange.h"
#include "operation_context.h"

namespace xavo {

class Invocation : public ErrorContext {
public:
    // Locks the handle. The steps log under the operation's name.
    explicit Invocation(const OperationContext &context);
    ~Invocation();
    Invocation(const Invocation &) = delete;
    Invocation &operator=(const Invocation &) = delete;

    // Sets the instance whose method is called, and owns the path. Returns false for NULL: the function that
    // builds the path has failed and set the code.
    bool set_path(CMPIObjectPath *path);

    // Makes the lists of input and output arguments.
    bool make_argument_lists();

    // Add an argument: a string, a number, an array, or the path that set_target has set. The client library
    // copies the value; a number is passed by the given address. The array is owned from now on, also on
    // failure.
    bool add(const char *name, const char *text);
    bool add(const char *name, const CMPIUint16 *number);
    bool add_array(const char *name, CMPIArray *strings);
    bool add_target(const char *name);
    // Sets and owns the second path of a method that has a target. Call it before make_argument_lists.
    bool set_target(CMPIObjectPath *path);

    // Call the method. On a failing status invoke logs it with the service's message; invoke_quietly only
    // sets the code.
    bool invoke(const char *method);
    bool invoke_quietly(const char *method);

    // Reads the outcome of a method that reports by its return value: 0 is success.
    void read_return_value();

    CMPIArgs *outputs() const { return out_.get(); }
    // Releases the method's return value early, for methods whose return value has no meaning.
    void reset_returned() { returned_.reset(); }

private:
    // Owns the value that the method returned.
    class Returned {
    public:
        Returned() = default;
        ~Returned() { reset(); }
        Returned(const Returned &) = delete;
        Returned &operator=(const Returned &) = delete;
        void set(CMPIData data) { data_ = data; }
        const CMPIData *get() const { return &data_; }
        void reset() {
            XAVO_free_CMPIData_value(&data_);
            data_ = NONE;
        }

    private:
        static constexpr CMPIData NONE = {CMPI_null, CMPI_nullValue, {}};
        CMPIData data_ = NONE;
    };

    bool add(const char *name, CMPIValue *value, CMPIType type);
    // Returns false when the handle has no client. Stores the status of the call in rc_.
    bool exchange(const char *method);

    XAVO_Proxy *sp_;
    CMPIrc rc_ = CMPI_RC_OK;

    // A call that fails early releases these from the last to the first: path_ first, the lock at the end.
    Lock lock_;
    Returned returned_;
    Owner<CMPIArray> array_;
    Owner<CMPIArgs> out_;
    Owner<CMPIArgs> in_;
    Owner<CMPIObjectPath> target_;
    Owner<CMPIObjectPath> path_;
};

} // namespace xavo

#endif
