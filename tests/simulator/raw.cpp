#include "raw.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <sstream>
#include <vector>

namespace raw {

CMCIClient *connect(const char *user) {
    setenv("SFCC_CLIENT", "SfcbLocal", 1);
    return cmciConnect("localhost", nullptr, nullptr, user, "secret", nullptr);
}

Own<CMPIObjectPath> path(const char *class_name, const char *name_space) {
    return Own<CMPIObjectPath>(newCMPIObjectPath(name_space, class_name, nullptr));
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

std::string misuse() {
    return std::regex_replace(std::string(cimsim_last_misuse()), std::regex("#[0-9]+"), "#");
}

Raw::Raw() {
    cimsim_reset();
    cimsim_count_misuse(1);
    cimsim_freeze_time(1);
    client = connect();
}

Raw::~Raw() {
    if (client != nullptr)
        release(client);
    EXPECT_EQ(cimsim_owned(), 0U) << cimsim_live();
    EXPECT_EQ(cimsim_pooled(), 0U) << cimsim_live();
    EXPECT_EQ(cimsim_misuses(), 0U) << cimsim_last_misuse();
}

CMPIData Session::call(CMPIArgs *outputs) {
    const auto on = service("VELK_JobService");
    const Own<CMPIArgs> in(native_new_CMPIArgs(nullptr));
    return client->ft->invokeMethod(client, on.get(), "SetupJobQueue", in.get(), outputs, &st);
}

std::string Session::invoke(const char *class_name, const char *method,
                            const std::vector<Argument> &arguments) {
    const auto on = service(class_name);
    const Own<CMPIArgs> in(native_new_CMPIArgs(nullptr)), out(native_new_CMPIArgs(nullptr));
    for (const Argument &argument : arguments) {
        std::vector<std::string> names;
        std::istringstream stream(argument.text);
        for (std::string name; std::getline(stream, name, ',');)
            names.push_back(name);
        const Own<CMPIArray> array(
            native_new_CMPIArray(static_cast<CMPICount>(names.size()), CMPI_string, nullptr));
        for (CMPICount i = 0; i < names.size(); ++i)
            array->ft->setElementAt(array.get(), i, value(names[i].c_str()), CMPI_chars);
        const auto target = job_path(argument.text, "VELK_SoftwareIdentity");
        CMPIArray *const list = array.get();
        CMPIObjectPath *const reference = target.get();
        in->ft->addArg(in.get(), argument.name,
                       argument.type == CMPI_stringA ? value(&list)
                       : argument.type == CMPI_ref   ? value(&reference)
                                                     : value(argument.text),
                       argument.type);
    }
    const CMPIData returned = client->ft->invokeMethod(client, on.get(), method, in.get(), out.get(), &st);
    if (st.rc != CMPI_RC_OK) {
        const std::string message = text(st.msg);
        release(st.msg);
        EXPECT_EQ(shown(returned), "0000:400 -");
        return "rc " + std::to_string(st.rc) + ": " + message;
    }
    std::string answer = std::to_string(returned.value.uint32);
    for (unsigned i = 0; i < out->ft->getArgCount(out.get(), nullptr); ++i) {
        CMPIString *name = nullptr;
        const std::string output = shown(out->ft->getArgAt(out.get(), i, &name, nullptr));
        answer += " " + text(name) + "=" + output.substr(output.find(' ') + 1);
    }
    return answer;
}

std::string Session::property(const char *InstanceID, const char *name) {
    const auto at = job_path(InstanceID);
    const Own<CMPIInstance> job(client->ft->getInstance(client, at.get(), 0, nullptr, nullptr));
    return job == nullptr ? "no job" : shown(job->ft->getProperty(job.get(), name, &st));
}

} // namespace raw
