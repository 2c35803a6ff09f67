// cmpi_helpers.h - calls of the client library without libxavo: connects, makes object paths, and owns
// objects.
#ifndef SIMULATOR_TESTS_CMPI_HELPERS_H
#define SIMULATOR_TESTS_CMPI_HELPERS_H

#include <CimClientLib/cmci.h>
#include <CimClientLib/native.h>
#include <memory>
#include <string>

namespace cmpi {

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

// The pointer that addArg and the like take as a value: to characters, or to a variable of the value's type.
inline CMPIValue *value(const void *given) { return static_cast<CMPIValue *>(const_cast<void *>(given)); }

CMCIClient *connect(const char *user);
Own<CMPIObjectPath> path(const char *class_name);
// The path of an instance, by its InstanceID: of a job, unless another class is given; and that of a service.
Own<CMPIObjectPath> job_path(const char *InstanceID, const char *class_name = nullptr);
Own<CMPIObjectPath> service_path(const char *class_name);

// The characters, or "NULL".
std::string text(CMPIString *string);

} // namespace cmpi

#endif
