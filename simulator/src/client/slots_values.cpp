// slots_values.cpp - the slots of strings, arrays, enumerations and date-times; and release and clone, which
// all kinds of objects have.
#include "client/slots.h"

#include <CimClientLib/native.h>

#include <cstring>

namespace cimsim {

Value argument_value(Call &call, const CMPIValue *value, CMPIType type) {
    if (!value || type == CMPI_null)
        return Value::null(type == CMPI_chars ? CMPIType{CMPI_string} : type);
    if (type == CMPI_chars)
        return Value::string(reinterpret_cast<const char *>(value));
    if (is_number(type))
        return Value::number(type, load_number(type, value));

    const bool supported = type == CMPI_string || type == CMPI_ref || type == CMPI_instance ||
                           type == CMPI_args || type == CMPI_dateTime || (type & CMPI_ARRAY) != 0;
    if (!supported) {
        call.fail(CMPI_RC_ERR_NOT_SUPPORTED);
        return {};
    }
    // `value` points to a pointer, and may be smaller than a CMPIValue.
    const CMPIString *pointer;
    std::memcpy(&pointer, value, sizeof pointer);
    if (!pointer)
        return Value::null(type);
    const Object *object = object_of(pointer);
    if (!call.accepts(object, "value"))
        return {};
    Value result = value_of(*object);
    result.type = type;
    result.state = CMPI_goodValue;
    return result;
}

void release_object(Call &call) {
    if (call.is_misuse()) // not !call.works(): with an injected fault, a release fails but still releases
        return;
    std::vector<std::string> twice;
    mark_released(*call.self, twice);
    for (const std::string &name : twice)
        sim.recorder.misuse(name + " released twice: by itself and with " + call.self->name());
}

Object *clone_object(Call &call) {
    if (!call.works())
        return nullptr;
    Object &clone = make(value_of(*call.self), Holder::owned);
    clone.program_made = true;
    return &clone;
}

namespace {

// ---- CMPIString ---------------------------------------------------------------------------------

char *string_getCharPtr(CMPIString *self, CMPIStatus *rc) {
    Call call("CMPIString.getCharPtr", self, rc);
    return call.works() && !call.self->value.blank ? call.self->value.text.data() : nullptr;
}

// ---- CMPIArray ----------------------------------------------------------------------------------

const std::vector<Value> &elements(const Call &call) { return call.self->value.contents->elements; }

CMPIType element_type(const Call &call) { return static_cast<CMPIType>(call.self->value.type & ~CMPI_ARRAY); }

CMPICount array_getSize(CMPIArray *self, CMPIStatus *rc) {
    Call call("CMPIArray.getSize", self, rc);
    return call.works() ? static_cast<CMPICount>(elements(call).size()) : 0;
}

CMPIType array_getSimpleType(CMPIArray *self, CMPIStatus *rc) {
    Call call("CMPIArray.getSimpleType", self, rc);
    return call.works() ? element_type(call) : CMPIType{CMPI_null};
}

CMPIData array_getElementAt(CMPIArray *self, CMPICount index, CMPIStatus *rc) {
    Call call("CMPIArray.getElementAt", self, rc);
    if (!call.works())
        return no_data();
    if (index < elements(call).size())
        return hand_out_element(*call.self, index);
    call.fail(CMPI_RC_ERR_NO_SUCH_PROPERTY);
    return no_data();
}

void set_element(Call &call, CMPICount index, const CMPIValue *value, CMPIType type) {
    Object &array = *call.self;
    if (index >= elements(call).size())
        return call.fail(CMPI_RC_ERR_NO_SUCH_PROPERTY);
    Value element = Value::unset(element_type(call));
    if (type != CMPI_null)
        element = argument_value(call, value, type);
    if (call.result() != CMPI_RC_OK)
        return;
    if (element.type != element_type(call))
        return call.fail(CMPI_RC_ERR_TYPE_MISMATCH);
    // An array that the program made frees the old element; one that was read back does not.
    std::vector<std::string> twice;
    if (array.program_made)
        free_element(array, index, twice);
    else
        detach_element(array, index);
    for (const std::string &name : twice)
        sim.recorder.misuse(name + " released twice: by itself and when it was overwritten in " +
                            array.name());
    array.value.edit().elements[index] = std::move(element);
}

CMPIStatus array_setElementAt(CMPIArray *self, CMPICount index, CMPIValue *value, CMPIType type) {
    Call call("CMPIArray.setElementAt", self, nullptr);
    if (call.works())
        set_element(call, index, value, type);
    return call.status();
}

// ---- CMPIEnumeration ----------------------------------------------------------------------------

CMPIData enumeration_getNext(CMPIEnumeration *self, CMPIStatus *rc) {
    Call call("CMPIEnumeration.getNext", self, rc);
    if (!call.works())
        return no_data();
    if (call.self->next_element < elements(call).size())
        return hand_out_element(*call.self, call.self->next_element++);
    CMPIData past_the_end = no_data(); // status 0, but a value that must not be used
    past_the_end.type = CMPI_instance;
    past_the_end.state = CMPI_badValue;
    return past_the_end;
}

CMPIBoolean enumeration_hasNext(CMPIEnumeration *self, CMPIStatus *rc) {
    Call call("CMPIEnumeration.hasNext", self, rc);
    return call.works() && call.self->next_element < elements(call).size();
}

// ---- CMPIDateTime -------------------------------------------------------------------------------

CMPIString *dateTime_getStringFormat(CMPIDateTime *self, CMPIStatus *rc) {
    Call call("CMPIDateTime.getStringFormat", self, rc);
    return call.works() ? cmpi_of<CMPIString>(&make(Value::string(call.self->value.text), Holder::pooled))
                        : nullptr;
}

// An interval has a colon where a point in time has the sign of its offset from UTC.
CMPIBoolean dateTime_isInterval(CMPIDateTime *self, CMPIStatus *rc) {
    Call call("CMPIDateTime.isInterval", self, rc);
    return call.works() && call.self->value.text.find(':') != std::string::npos;
}

} // namespace

CMPIStringFT string_table = {1, RELEASE(CMPIString), CLONE(CMPIString), string_getCharPtr};

CMPIArrayFT array_table = {
    1,
    RELEASE(CMPIArray),
    CLONE(CMPIArray),
    array_getSize,
    array_getSimpleType,
    array_getElementAt,
    array_setElementAt,
};

CMPIEnumerationFT enumeration_table = {
    1,
    RELEASE(CMPIEnumeration),
    CLONE(CMPIEnumeration),
    enumeration_getNext,
    enumeration_hasNext,
    NOT_SUPPORTED(CMPIEnumeration, toArray),
};

CMPIDateTimeFT date_time_table = {
    1,
    RELEASE(CMPIDateTime),
    CLONE(CMPIDateTime),
    NOT_SUPPORTED(CMPIDateTime, getBinaryFormat),
    dateTime_getStringFormat,
    dateTime_isInterval,
};

CMPIConstClassFT const_class_table = {1, RELEASE(CMPIConstClass), CLONE(CMPIConstClass)};

} // namespace cimsim

using namespace cimsim;

extern "C" CMPIArray *native_new_CMPIArray(CMPICount size, CMPIType type, CMPIStatus *rc) {
    Call call = Call::construct("native_new_CMPIArray", rc);
    if (!call.works())
        return nullptr;
    std::vector<Value> unset(size, Value::unset(type));
    Object &array = make(Value::array(type, std::move(unset)), Holder::owned);
    array.program_made = true;
    return call.made<CMPIArray>(array);
}

extern "C" CMPIString *native_new_CMPIString(const char *characters, CMPIStatus *rc) {
    Call call = Call::construct("native_new_CMPIString", rc);
    if (!call.works())
        return nullptr;
    Value value = Value::string(text_or_empty(characters));
    value.blank = !characters;
    return call.made<CMPIString>(make(std::move(value), Holder::owned));
}
