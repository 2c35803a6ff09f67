// raw.h - what the simulator's tests share: a client of their own, with nothing between them and the slots.
#ifndef SIMULATOR_TESTS_RAW_H
#define SIMULATOR_TESTS_RAW_H

#include <CimClientLib/cmci.h>
#include <CimClientLib/native.h>
#include <cimsim.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace raw {

struct Release {
    template <class T>
    void operator()(T *object) const {
        object->ft->release(object);
    }
};
template <class T>
using Own = std::unique_ptr<T, Release>;
template <class T>
void release(T *object) {
    Release()(object);
}

// Characters, and the address of anything else, as the slots take them.
inline CMPIValue *value(const void *given) { return static_cast<CMPIValue *>(const_cast<void *>(given)); }

CMCIClient *connect(const char *user = "guest01ff");
Own<CMPIObjectPath> path(const char *class_name = "VELK_LifecycleJob", const char *name_space = "root/velk");
// The path of an instance: a job's or a software identity's with this InstanceID, or a service's.
Own<CMPIObjectPath> job_path(const char *InstanceID, const char *class_name = "VELK_LifecycleJob");
Own<CMPIObjectPath> service(const char *class_name);

// A value on one line, "1600:0 text": its type and state in hexadecimal, and what is behind it.
std::string shown(const CMPIData &data);

// The characters, or "NULL".
std::string text(CMPIString *string);

// The latest misuse without the objects' numbers: "CMPIArgs.release: CMPIArgs# released twice".
std::string misuse();

// A client, and the shortest ways to ask something through it.
struct Session {
    CMCIClient *client = nullptr;
    CMPIStatus st = {};

    struct Argument {
        const char *name, *text;
        CMPIType type = CMPI_chars; // or CMPI_stringA: an array of this one, CMPI_ref: a software identity
    };
    // "0", "2 MessageID=JQ001 Message=no", "rc 6: no": return value and outputs, or the status.
    std::string invoke(const char *class_name, const char *method,
                       const std::vector<Argument> &arguments = {});
    // What a method that refuses, unless the answer is scripted, returns.
    CMPIData call(CMPIArgs *outputs = nullptr);
    std::string property(const char *InstanceID, const char *name);
};

// An empty controller with the clock stopped and a client on it; misuse is counted. In the end there has
// been none, and nothing is left.
class Raw : public testing::Test, protected Session {
protected:
    Raw();
    ~Raw() override;
};

} // namespace raw

#endif
