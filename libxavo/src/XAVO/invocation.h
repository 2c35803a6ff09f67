// invocation.h - one method call, from the lock to the unlock.
//
// An operation creates an Invocation after its own checks, and then calls
//
//     call.set_path(path) && call.make_argument_lists() && call.add(...) && call.invoke(method)
//
// Each step returns false on failure, after it has set the error code and written the log line, if the
// failure has one. The operation then returns, and the destructor releases the remaining objects and unlocks
// the handle. If invoke returns true, the operation reads the outcome.
#ifndef XAVO_INVOCATION_H
#define XAVO_INVOCATION_H

#include "cmpi.h"
#include "exchange.h"
#include "operation_context.h"

namespace xavo {

class Invocation : public ErrorContext {
public:
    // Locks the handle. The log lines of the steps have the operation's name.
    explicit Invocation(const OperationContext &context);
    ~Invocation();
    Invocation(const Invocation &) = delete;
    Invocation &operator=(const Invocation &) = delete;

    // Sets the path of the instance whose method is called, and owns it. Returns false for NULL: the function
    // that builds the path has then failed and set the error code.
    bool set_path(CMPIObjectPath *path);

    // Creates the lists of input and output arguments.
    bool make_argument_lists();

    // Add an argument: a string, a number, an array, or the path that set_target has set. The client library
    // copies the value; it receives a number's address. add_array owns the array, also on failure.
    bool add(const char *name, const char *text);
    bool add(const char *name, const CMPIUint16 *number);
    bool add_array(const char *name, CMPIArray *strings);
    bool add_target(const char *name);
    // Sets the path of the method's target, and owns it. Call it before make_argument_lists. Returns false
    // for NULL, as set_path does.
    bool set_target(CMPIObjectPath *path);

    // Call the method and set the error code by its status. On a failing status both return false; invoke
    // also logs the status and the service's message. If the handle has no client, both set SP_NOT_VALID.
    bool invoke(const char *method);
    bool invoke_quietly(const char *method);

    // Sets the error code by the method's return value, for methods that return 0 on success. Logs any other
    // number and the service's message.
    void read_return_value();

    // Returns the list of output arguments; the invocation owns it.
    CMPIArgs *outputs() const { return out_.get(); }
    // Releases the method's return value before the call ends, for methods whose return value has no meaning.
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
    // Calls the method, stores the status in rc_ and sets the error code. Returns false if the handle has no
    // client.
    bool exchange(const char *method);

    XAVO_Proxy *sp_;
    CMPIrc rc_ = CMPI_RC_OK;

    // The destructor releases what is left of these from the last to the first: path_ first, lock_ last.
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
