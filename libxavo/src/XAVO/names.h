// names.h - tables of names by their codes. A row holds the characters of its name: a pointer to them would
// be relocated in every process that loads the library.
#ifndef XAVO_NAMES_H
#define XAVO_NAMES_H

#include <cstddef>
#include <cstdint>

namespace xavo {

template <size_t size>
struct Name {
    uint16_t code; // of an error, a type or a state
    char name[size];
};

// Returns the name of a code; "unknown" if the table does not have it.
template <size_t size, size_t count>
const char *name_of(const Name<size> (&names)[count], int code) {
    for (const Name<size> &row : names)
        if (row.code == code)
            return row.name;
    return "unknown";
}

} // namespace xavo

#endif
