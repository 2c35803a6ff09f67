#include "raw.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace raw {

CMCIClient *connect(const char *user) {
    setenv("SFCC_CLIENT", "SfcbLocal", 1);
    return cmciConnect("localhost", nullptr, nullptr, user, "secret", nullptr);
}

Own<CMPIObjectPath> path(const char *class_name) {
    return Own<CMPIObjectPath>(newCMPIObjectPath("root/velk", class_name, nullptr));
}

Own<CMPIObjectPath> job_path(const char *InstanceID, const char *class_name) {
    auto made = path(class_name);
    made->ft->addKey(made.get(), "InstanceID", value(InstanceID), CMPI_chars);
    return made;
}

Own<CMPIObjectPath> service(const char *class_name) {
    auto made = path(class_name);
    const bool jobs = class_name == std::string("VELK_JobService"),
               image = class_name == std::string("VELK_QMService");
    const std::pair<const char *, const char *> keys[] = {{"CreationClassName", class_name},
                                                          {"SystemCreationClassName", "VELK_ComputerSystem"},
                                                          {"SystemName", jobs    ? "Tavix"
                                                                         : image ? "VELK:ComputerSystem"
                                                                                 : "TAVIX:ID"},
                                                          {"Name", jobs    ? "JobService"
                                                                   : image ? "VELK:QMService"
                                                                           : "SoftwareUpdate"}};
    for (const auto &[name, text] : keys)
        made->ft->addKey(made.get(), name, value(text), CMPI_chars);
    return made;
}

std::string text(CMPIString *string) {
    const char *characters = string == nullptr ? nullptr : string->ft->getCharPtr(string, nullptr);
    return characters == nullptr ? "NULL" : characters;
}

std::string shown(const CMPIData &data) {
    char head[32];
    snprintf(head, sizeof head, "%04x:%x ", data.type, data.state);
    const CMPIValue &v = data.value;
    if (data.state == CMPI_notFound && v.uint64 == 0)
        return head + std::string("-");
    if (data.type == CMPI_chars)
        return head + std::string(v.chars);
    if (data.type & CMPI_ARRAY && v.array != nullptr) {
        std::string list;
        for (CMPICount i = 0; i < v.array->ft->getSize(v.array, nullptr); ++i)
            list += " " + shown(v.array->ft->getElementAt(v.array, i, nullptr));
        return head + std::string("[") + list + " ]";
    }
    if (data.type == CMPI_string && v.string != nullptr)
        return head + (v.string->ft->getCharPtr(v.string, nullptr) == nullptr ? "blank" : text(v.string));
    if (data.type == CMPI_ref && v.ref != nullptr)
        return head + text(v.ref->ft->toString(v.ref, nullptr));
    if (data.type == CMPI_dateTime && v.dateTime != nullptr)
        return head + text(v.dateTime->ft->getStringFormat(v.dateTime, nullptr));
    if (data.type & CMPI_ENC)
        return head + std::string(v.string == nullptr ? "NULL" : "object");
    switch (data.type) { // each as wide as it is, whichever end of the union its bytes are at
    case CMPI_boolean:
    case CMPI_uint8:
    case CMPI_sint8:
        return head + std::to_string(v.uint8);
    case CMPI_char16:
    case CMPI_uint16:
    case CMPI_sint16:
        return head + std::to_string(v.uint16);
    case CMPI_uint32:
    case CMPI_sint32:
        return head + std::to_string(v.uint32);
    case CMPI_real32: {
        uint32_t bits;
        memcpy(&bits, &v.real32, sizeof bits);
        return head + std::to_string(bits);
    }
    default:
        return head + std::to_string(v.uint64);
    }
}

} // namespace raw
