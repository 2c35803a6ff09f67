// XAVO_utils.cpp - reads, frees and prints CMPI values.
#include <XAVO.h>

#include "cmpi.h"
#include "names.h"
#include "operation_context.h"
#include "outputs.h"
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace xavo;

namespace {

// Calls XAVO_cleanstack at the beginning and at the end of a scope.
struct CleanStack {
    CleanStack() { XAVO_cleanstack(); }
    ~CleanStack() { XAVO_cleanstack(); }
    CleanStack(const CleanStack &) = delete;
    CleanStack &operator=(const CleanStack &) = delete;
};

} // namespace

CMPIUint32 XAVO_CMPIData_to_uint32(XAVO_ErrorCode *errorcodep, const CMPIData *datap) {
    const ErrorContext context = {errorcodep, __func__};
    if (!has_errorcodep(context) || !XAVO_REQUIRE_GIVEN(context, datap))
        return 0;
    if (!is_present(*datap) || datap->type != CMPI_uint32) {
        *errorcodep = XAVO_INVALID_VALUE;
        return 0;
    }
    return low_32_bits(datap->value.uint32);
}

void XAVO_free_CMPIData_value(CMPIData *data) {
    if (!is_present(*data) || data->type < CMPI_ENC)
        return;
    switch (data->type) {
    case CMPI_instance:
        release(data->value.inst);
        break;
    case CMPI_ref:
        release(data->value.ref);
        break;
    case CMPI_args:
        release(data->value.args);
        break;
    case CMPI_class:
        release(data->value.cls);
        break;
    case CMPI_enumeration:
        release(data->value.Enum);
        break;
    case CMPI_string:
        release(data->value.string);
        break;
    case CMPI_dateTime:
        release(data->value.dateTime);
        break;
    case CMPI_chars:
        free(data->value.chars);
        data->value.chars = nullptr;
        break;
    default:
        if ((data->type & CMPI_ARRAY) == 0) {
            XAVO_ERROR(__func__, "unknown type, memory leak");
            break;
        }
        XAVO_free_CMPIArray_content(data->value.array);
        release(data->value.array);
    }
}

void XAVO_free_CMPIArray_content(CMPIArray *array) {
    if (array == nullptr)
        return;
    const CMPICount count = array->ft->getSize(array, nullptr);
    for (CMPICount i = 0; i < count; ++i) {
        CMPIData element = array->ft->getElementAt(array, i, nullptr);
        XAVO_free_CMPIData_value(&element);
        // Set the element to null, also if nothing was freed: the array's release function frees every
        // element that is not null.
        CMPIValue none = {};
        if (Status(array->ft->setElementAt(array, i, &none, CMPI_null)).code() != CMPI_RC_OK)
            XAVO_ERROR(__func__, "setElementAt() call failed");
    }
}

char *XAVO_get_string_arg(CMPIArgs *args, const char *name) {
    CMPIData data;
    if (read_arg(args, name, __func__, &data) != CMPI_RC_OK)
        return nullptr;
    if (data.type != CMPI_string) {
        XAVO_free_CMPIData_value(&data);
        return nullptr;
    }
    // The client library still owns the string object, and frees it.
    const char *text = characters(data);
    return text == nullptr ? nullptr : strdup(text);
}

void XAVO_log_MessageID(CMPIArgs *outargs) {
    char *id = XAVO_get_string_arg(outargs, "MessageID");
    if (id != nullptr)
        XAVO_ERROR_WITH(__func__, "MessageID=[%s]", id);
    free(id);
    char *message = XAVO_get_string_arg(outargs, "Message");
    if (message != nullptr)
        XAVO_ERROR_WITH(__func__, "Message=[%s]", message);
    free(message);
}

void XAVO_free_ntstring(char *s) { free(s); }

CMPIArray *XAVO_build_string_array(char *const *strings) {
    if (strings == nullptr || strings[0] == nullptr)
        return nullptr;
    CMPICount count = 0;
    while (strings[count] != nullptr)
        ++count;

    Owner<CMPIArray> array;
    Status status;
    array.reset(native_new_CMPIArray(count, CMPI_string, status.out()));
    if (status.code() != CMPI_RC_OK || !array)
        return nullptr;
    for (CMPICount i = 0; i < count; ++i) {
        CMPIValue element = {};
        element.string = native_new_CMPIString(strings[i], nullptr);
        if (element.string == nullptr)
            return nullptr;
        const CMPIrc rc = Status(array->ft->setElementAt(array.get(), i, &element, CMPI_string)).code();
        release(element.string); // the array keeps a copy
        if (rc != CMPI_RC_OK)
            return nullptr;
    }
    return array.detach();
}

char *XAVO_property_to_ntstring(XAVO_Proxy *, XAVO_ErrorCode *errorcodep, CMPIInstance *instancep,
                                const char *name) {
    const CleanStack whole;
    const ErrorContext context = {errorcodep, __func__};
    *errorcodep = XAVO_NO_ERROR;
    if (!XAVO_REQUIRE_GIVEN(context, instancep))
        return nullptr;
    XAVO_cleanstack();
    Status status;
    CMPIData data = instancep->ft->getProperty(instancep, name, status.out());
    XAVO_cleanstack();
    if (!status.check(errorcodep))
        return nullptr;
    if (!is_present(data)) // an absent value owns nothing to be freed
        return nullptr;

    if (data.type != CMPI_string || data.value.string == nullptr) {
        XAVO_free_CMPIData_value(&data);
        *errorcodep = XAVO_NOT_IMPLEMENTED;
        return nullptr;
    }
    XAVO_cleanstack();
    char *copy = nullptr;
    const char *text = characters(data);
    if (XAVO_REQUIRE(context, text != nullptr, XAVO_OUT_OF_MEMORY, "getCharPtr() returned NULL"))
        copy = new_string(errorcodep, text);
    XAVO_free_CMPIData_value(&data);
    return copy;
}

// ---- Printers ---------------------------------------------------------------------------------------

namespace {

#define NAME(code)                                                                                           \
    { code, #code }

constexpr Name<20> TYPES[] = {
    NAME(CMPI_null),       NAME(CMPI_boolean),       NAME(CMPI_char16),        NAME(CMPI_real32),
    NAME(CMPI_real64),     NAME(CMPI_uint8),         NAME(CMPI_uint16),        NAME(CMPI_uint32),
    NAME(CMPI_uint64),     NAME(CMPI_sint8),         NAME(CMPI_sint16),        NAME(CMPI_sint32),
    NAME(CMPI_sint64),     NAME(CMPI_instance),      NAME(CMPI_ref),           NAME(CMPI_args),
    NAME(CMPI_class),      NAME(CMPI_filter),        NAME(CMPI_enumeration),   NAME(CMPI_string),
    NAME(CMPI_chars),      NAME(CMPI_dateTime),      NAME(CMPI_ptr),           NAME(CMPI_charsptr),
    NAME(CMPI_booleanA),   NAME(CMPI_char16A),       NAME(CMPI_real32A),       NAME(CMPI_real64A),
    NAME(CMPI_uint8A),     NAME(CMPI_uint16A),       NAME(CMPI_uint32A),       NAME(CMPI_uint64A),
    NAME(CMPI_sint8A),     NAME(CMPI_sint16A),       NAME(CMPI_sint32A),       NAME(CMPI_sint64A),
    NAME(CMPI_instanceA),  NAME(CMPI_refA),          NAME(CMPI_stringA),       NAME(CMPI_charsA),
    NAME(CMPI_dateTimeA),  NAME(CMPI_ptrA),          NAME(CMPI_charsptrA),     NAME(CMPI_integerString),
    NAME(CMPI_realString), NAME(CMPI_numericString), NAME(CMPI_booleanString), NAME(CMPI_dateTimeString),
};

constexpr Name<20> STATES[] = {
    NAME(CMPI_goodValue), NAME(CMPI_nullValue), NAME(CMPI_keyValue), NAME(CMPI_notFound), NAME(CMPI_badValue),
};
#undef NAME

// Prints one line and flushes.
__attribute__((format(printf, 2, 3))) void print_line(int indent, const char *format, ...) {
    va_list values;
    va_start(values, format);
    XAVO_indent(stdout, indent);
    vprintf(format, values);
    fflush(stdout);
    va_end(values);
}

// Prints the name and the value of a key or of an argument, and frees both.
void print_item(int indent, const char *name_label, CMPIString *name, const char *data_label, CMPIData data) {
    if (name != nullptr) {
        XAVO_pr_CMPIString(indent + 8, name_label, name);
        release(name);
    }
    XAVO_pr_CMPIData(indent + 8, data_label, data);
    XAVO_free_CMPIData_value(&data);
}

} // namespace

const char *XAVO_CMPIType_to_string(CMPIType type) { return name_of(TYPES, type); }

const char *XAVO_CMPIValueState_to_string(CMPIValueState state) { return name_of(STATES, state); }

void XAVO_indent(FILE *fp, int n) {
    if (fp == nullptr)
        return XAVO_ERROR(__func__, "fp is NULL");
    for (; n > 0; --n)
        fputc(' ', fp);
}

void XAVO_fprint_ntstring(FILE *fp, const char *s) {
    if (fp == nullptr)
        return XAVO_ERROR(__func__, "fp is NULL");
    if (s != nullptr)
        fputs(s, fp);
}

void XAVO_pr_CMPIString(int indent, const char *label, CMPIString *s) {
    print_line(indent, "CMPIString=[%s]\n", label);
    if (s == nullptr)
        return print_line(0, XAVO_PREFIX "s is NULL\n", XAVO_PREFIX_VALUES(__func__));
    const char *text = s->ft->getCharPtr(s, nullptr);
    if (text == nullptr)
        return;
    print_line(indent + 4, "cs=[%s]\n", text);
    print_line(indent + 4, "cs=0x%" PRIxPTR "\n", reinterpret_cast<uintptr_t>(text));
}

void XAVO_pr_CMPIType(int indent, const char *label, CMPIType type) {
    print_line(indent, "CMPIType [%s], type=%hu (0x%hx) [%s]\n", label, type, type,
               XAVO_CMPIType_to_string(type));
}

void XAVO_pr_CMPIValueState(int indent, const char *label, CMPIValueState state) {
    print_line(indent, "CMPIValueState [%s], state=%hu [%s]\n", label, state,
               XAVO_CMPIValueState_to_string(state));
}

void XAVO_pr_CMPIUint32(int indent, const char *label, CMPIUint32 value) {
    print_line(indent, "CMPIUint32 [%s] value=%lu\n", label, static_cast<unsigned long>(low_32_bits(value)));
}

void XAVO_pr_CMPIData(int indent, const char *label, CMPIData data) {
    print_line(indent, "CMPIData [%s]\n", label);
    XAVO_pr_CMPIType(indent + 8, "data.type", data.type);
    XAVO_pr_CMPIValueState(indent + 8, "data.state", data.state);
    if (!is_present(data))
        return;
    if (data.type == CMPI_ref)
        XAVO_pr_CMPIObjectPath(indent + 8, "data.value.ref", data.value.ref);
    else if (data.type == CMPI_string)
        XAVO_pr_CMPIString(indent + 8, "data.value.string", data.value.string);
    else if (data.type == CMPI_uint32)
        XAVO_pr_CMPIUint32(indent + 8, "data.value.uint32", data.value.uint32);
    else if ((data.type & CMPI_ARRAY) != 0)
        XAVO_pr_CMPIArray(indent + 8, "data.value.array", data.value.array);
    else
        print_line(indent + 4, "unknown type\n");
}

void XAVO_pr_CMPIArray(int indent, const char *label, CMPIArray *arrayp) {
    print_line(indent, "CMPIArray [%s]\n", label);
    if (arrayp == nullptr)
        return print_line(indent + 4, "arrayp is NULL\n");
    const CMPICount count = arrayp->ft->getSize(arrayp, nullptr);
    print_line(indent + 4, "count=%u\n", count);
    for (CMPICount k = 0; k < count; ++k) {
        print_line(indent + 4, "k=%u\n", k);
        XAVO_pr_CMPIData(indent + 8, "data", arrayp->ft->getElementAt(arrayp, k, nullptr));
    }
}

void XAVO_pr_CMPIObjectPath(int indent, const char *label, CMPIObjectPath *op) {
    print_line(indent, "CMPIObjectPath [%s]\n", label);
    if (op == nullptr)
        return print_line(indent + 4, "op is NULL\n");

    const auto print_part = [indent](CMPIString *part, const char *part_label, const char *missing) {
        if (part == nullptr)
            return print_line(indent + 4, "%s is NULL\n", missing);
        XAVO_pr_CMPIString(indent + 8, part_label, part);
        release(part);
    };
    print_part(op->ft->getNameSpace(op, nullptr), "namespace", "namespace");
    print_part(op->ft->getHostname(op, nullptr), "hostname",
               "hostanme"); // the misspelling stays: programs parse the output
    print_part(op->ft->getClassName(op, nullptr), "classname", "classname");

    const unsigned int count = op->ft->getKeyCount(op, nullptr);
    for (unsigned int i = 0; i < count; ++i) {
        print_line(indent + 4, "i=%u\n", i);
        CMPIString *name = nullptr;
        const CMPIData data = op->ft->getKeyAt(op, i, &name, nullptr);
        print_item(indent, "keyname", name, "keydata", data);
    }
}

void XAVO_pr_CMPIArgs(int indent, const char *label, CMPIArgs *args) {
    print_line(indent, "CMPIArgs=[%s]\n", label);
    if (args == nullptr)
        return print_line(indent + 4, "args is NULL\n");
    const unsigned int count = args->ft->getArgCount(args, nullptr);
    print_line(indent + 4, "argcount=%d\n", static_cast<int>(count));
    for (unsigned int i = 0; i < count; ++i) {
        print_line(indent + 4, "i=%u\n", i);
        CMPIString *name = nullptr;
        const CMPIData data = args->ft->getArgAt(args, i, &name, nullptr);
        print_item(indent, "argname", name, "argdata", data);
    }
}
