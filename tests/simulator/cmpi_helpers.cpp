// cmpi_helpers.cpp - calls of the client library without libxavo.
#include "cmpi_helpers.h"

#include <cstdlib>

namespace cmpi {

CMCIClient *connect(const char *user) {
    setenv("SFCC_CLIENT", "SfcbLocal", 1);
    return cmciConnect("localhost", nullptr, nullptr, user, "secret", nullptr);
}

Own<CMPIObjectPath> path(const char *class_name) {
    return Own<CMPIObjectPath>(newCMPIObjectPath("root/velk", class_name, nullptr));
}

Own<CMPIObjectPath> job_path(const char *InstanceID, const char *class_name) {
    auto made = path(class_name == nullptr ? "VELK_LifecycleJob" : class_name);
    made->ft->addKey(made.get(), "InstanceID", value(InstanceID), CMPI_chars);
    return made;
}

Own<CMPIObjectPath> service_path(const char *class_name) {
    auto made = path(class_name);
    const bool jobs = class_name == std::string("VELK_JobService"),
               image = class_name == std::string("VELK_QMService");
    const char *const system = jobs ? "Tavix" : image ? "VELK:ComputerSystem" : "TAVIX:ID";
    const char *const service = jobs ? "JobService" : image ? "VELK:QMService" : "SoftwareUpdate";
    for (const auto &[name, text] : {std::pair("CreationClassName", class_name),
                                     {"SystemCreationClassName", "VELK_ComputerSystem"},
                                     {"SystemName", system},
                                     {"Name", service}})
        made->ft->addKey(made.get(), name, value(text), CMPI_chars);
    return made;
}

std::string text(CMPIString *string) {
    const char *characters = string == nullptr ? nullptr : string->ft->getCharPtr(string, nullptr);
    return characters == nullptr ? "NULL" : characters;
}

} // namespace cmpi
