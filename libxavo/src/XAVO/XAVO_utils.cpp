// XAVO_utils.cpp - CMPI values: method results, strings, properties.
#include <XAVO.h>

#include "cmpi.h"
#include "log.h"
#include "outputs.h"
#include <cstdlib>
#include <cstring>

using namespace xavo;

namespace {

// Brackets a stretch that reads from the client library.
struct CleanStack {
    CleanStack() { XAVO_cleanstack(); }
    ~CleanStack() { XAVO_cleanstack(); }
    CleanStack(const CleanStack &) = delete;
    CleanStack &operator=(const CleanStack &) = delete;
};

} // namespace

CMPIUint32 XAVO_CMPIData_to_uint32(XAVO_ErrorCode *errorcodep, const CMPIData *datap) {
    if (errorcodep == nullptr) {
        XAVO_ERROR(__func__, "errorcodep is NULL");
        return 0;
    }
    if (datap == nullptr) {
        XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, __func__, "datap is NULL");
        return 0;
    }
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
        // Else the array's own release would free the element once more.
        CMPIValue none = {};
        const Status status(array->ft->setElementAt(array, i, &none, CMPI_null));
        if (status.failed())
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
    // The string object is left to the argument list.
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

void XAVO_free_ntstring(char *s) {
    free(s);
}

CMPIArray *XAVO_build_string_array(char *const *strings) {
    if (strings == nullptr || strings[0] == nullptr)
        return nullptr;
    CMPICount count = 0;
    while (strings[count] != nullptr)
        ++count;

    Owner<CMPIArray> array;
    {
        Status status;
        array.take(native_new_CMPIArray(count, CMPI_string, status.out()));
        status.drop_message();
        if (status.failed() || !array)
            return nullptr;
    }
    for (CMPICount i = 0; i < count; ++i) {
        CMPIValue element = {};
        element.string = native_new_CMPIString(strings[i], nullptr);
        if (element.string == nullptr)
            return nullptr;
        const Status status(array->ft->setElementAt(array.get(), i, &element, CMPI_string));
        release(element.string); // the array keeps a copy
        if (status.failed())
            return nullptr;
    }
    return array.leave();
}

char *XAVO_property_to_ntstring(XAVO_Proxy *, XAVO_ErrorCode *errorcodep, CMPIInstance *instancep,
                                const char *name) {
    const CleanStack whole;
    *errorcodep = XAVO_NO_ERROR;
    if (instancep == nullptr) {
        XAVO_REFUSE(errorcodep, XAVO_INVALID_VALUE, __func__, "instancep is NULL");
        return nullptr;
    }
    CMPIData data;
    {
        const CleanStack reading;
        Status status;
        data = instancep->ft->getProperty(instancep, name, status.out());
        status.drop_message();
        if (status.failed()) {
            *errorcodep = XAVO_translate_error_code(status.rc());
            return nullptr;
        }
    }
    if (!is_present(data)) // nothing to free either: what is absent is not owned
        return nullptr;

    XAVO_cleanstack();
    char *copy = nullptr;
    if (data.type != CMPI_string || data.value.string == nullptr) {
        *errorcodep = XAVO_NOT_IMPLEMENTED;
    } else if (const char *text = characters(data)) {
        copy = strdup(text);
        if (copy == nullptr)
            *errorcodep = XAVO_OUT_OF_MEMORY;
    } else {
        XAVO_REFUSE(errorcodep, XAVO_OUT_OF_MEMORY, __func__, "getCharPtr() returned NULL");
    }
    XAVO_free_CMPIData_value(&data);
    return copy;
}
