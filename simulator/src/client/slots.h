// slots.h - the parts that all function tables share: the slots release and clone, a slot that reports
// CMPI_RC_ERR_NOT_SUPPORTED, and the conversion of a slot's argument to a value.
#ifndef CIMSIM_SLOTS_H
#define CIMSIM_SLOTS_H

#include "client/simulator.h"
#include "client/tables.h"

#include <type_traits>

namespace cimsim {

// Converts the value argument of addArg, addKey, setProperty or setElementAt. Makes the call fail if the type
// is not supported.
Value argument_value(Call &call, const CMPIValue *value, CMPIType type);

void release_object(Call &call);
Object *clone_object(Call &call);

// The slot's name as a type, so that it can be a template argument.
#define CIMSIM_SLOT_NAME(kind, slot)                                                                         \
    [] {                                                                                                     \
        struct Name {                                                                                        \
            static const char *get() { return #kind "." #slot; }                                             \
        };                                                                                                   \
        return Name{};                                                                                       \
    }()

template <class Name, class Cmpi>
CMPIStatus release_slot(Cmpi *self) {
    Call call = Call::release(Name::get(), object_of(self));
    release_object(call);
    return call.status();
}

template <class Name, class Cmpi>
Cmpi *clone_slot(Cmpi *self, CMPIStatus *rc) {
    Call call(Name::get(), self, rc);
    return cmpi_of<Cmpi>(clone_object(call));
}

// Returns the argument of type Wanted, or zero if there is none.
template <class Wanted, class... Given>
Wanted argument_of_type(Given... given) {
    Wanted found{};
    [[maybe_unused]] const auto look = [&](auto argument) {
        if constexpr (std::is_same_v<decltype(argument), Wanted>)
            found = argument;
    };
    (look(given), ...);
    return found;
}

// The result of a call that hands out nothing.
template <class R>
R no_result(Call &call) {
    if constexpr (std::is_same_v<R, CMPIStatus>)
        return call.status();
    else if constexpr (std::is_same_v<R, CMPIData>)
        return no_data();
    else
        return R{};
}

// A slot of any signature, which always fails with CMPI_RC_ERR_NOT_SUPPORTED.
template <class Name, class R, class Cmpi, class... Rest>
R unsupported_slot(Cmpi *self, Rest... rest) {
    Call call(Name::get(), self, argument_of_type<CMPIStatus *>(rest...));
    call.fail(CMPI_RC_ERR_NOT_SUPPORTED);
    return no_result<R>(call);
}

template <class Name, class Cmpi>
constexpr auto release_of(Name, CMPIStatus (*)(Cmpi *)) {
    return release_slot<Name, Cmpi>;
}
template <class Name, class Cmpi>
constexpr auto clone_of(Name, Cmpi *(*)(Cmpi *, CMPIStatus *)) {
    return clone_slot<Name, Cmpi>;
}
template <class Name, class R, class Cmpi, class... Rest>
constexpr auto unsupported_slot_of(Name, R (*)(Cmpi *, Rest...)) {
    return unsupported_slot<Name, R, Cmpi, Rest...>;
}

#define CIMSIM_TYPE_OF(kind, slot) static_cast<decltype(kind##FT::slot)>(nullptr)
#define RELEASE(kind) release_of(CIMSIM_SLOT_NAME(kind, release), CIMSIM_TYPE_OF(kind, release))
#define CLONE(kind) clone_of(CIMSIM_SLOT_NAME(kind, clone), CIMSIM_TYPE_OF(kind, clone))
#define NOT_SUPPORTED(kind, slot)                                                                            \
    unsupported_slot_of(CIMSIM_SLOT_NAME(kind, slot), CIMSIM_TYPE_OF(kind, slot))

} // namespace cimsim

#endif
