// invocation.h - one call of an extrinsic method, from the lock to the unlock.
//
// An operation makes one of these once its own checks have passed, and then goes
//
//     call.set_path(path) && call.make_argument_lists() && call.add(...) && call.invoke(method)
//
// Each step gives false when the call is over: the code is set, what must be logged is logged, and the
// destructor releases what is left in the order laid down below. After invoke the operation reads the
// outcome.
#ifndef XAVO_INVOCATION_H
#define XAVO_INVOCATION_H

#include "cmpi.h"
#include "exchange.h"
#include "operation_context.h"

namespace xavo {

class Invocation : public ErrorContext {
public:
    // Locks the handle. The steps log in the operation's name.
    explicit Invocation(const OperationContext &context);
    ~Invocation();
    Invocation(const Invocation &) = delete;
    Invocation &operator=(const Invocation &) = delete;

    // The instance whose method is called. Takes the path over; NULL ends the call with the code that
    // its builder has set.
    bool set_path(CMPIObjectPath *path);

    // The lists of arguments.
    bool make_argument_lists();

    // One argument more. Strings and numbers are read before the call returns; the variable that a
    // number stands in is what the client library is given. add_array takes the array over, add_target
    // the instance that a path names.
    bool add(const char *name, const char *text);
    bool add(const char *name, const CMPIUint16 *number);
    bool add_array(const char *name, CMPIArray *strings);
    bool add_target(const char *name);
    // The second path of a call that names a target; to be built before the lists are.
    bool set_target(CMPIObjectPath *path);

    // Calls the method. A failing status ends the call: invoke logs it along with the service's message,
    // invoke_quietly reports it only.
    bool invoke(const char *method);
    bool invoke_quietly(const char *method);

    // The outcome of a method that reports through its return value: 0 is success.
    void read_return_value();

    CMPIArgs *outputs() const { return out_.get(); }
    // For methods whose return value tells nothing.
    void reset_returned() { returned_.reset(); }

private:
    // The value that the method returned.
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
    // False when the handle has no client to ask. The status of the call is left in rc_.
    bool exchange(const char *method);

    XAVO_Proxy *sp_;
    CMPIrc rc_ = CMPI_RC_OK;

    // In the reverse of the order in which a call that ends early releases them. The lock outlives all.
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
