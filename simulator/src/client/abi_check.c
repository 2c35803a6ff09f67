/* abi_check.c - compile-time checks of the client library's headers against its binary interface: sizes and
 * offsets of the data types, codes, and the order of the slots. Generates no code. */
#include <CimClientLib/cmci.h>
#include <CimClientLib/native.h>

#include <stddef.h>

struct aligned64 {
    char before;
    CMPIUint64 number;
};
#define POINTER sizeof(void *)
#define ALIGN64 offsetof(struct aligned64, number)

/* A value is as wide as its widest member: { pointer, length } on LP64, a 64-bit number elsewhere. Its offset
 * in a CMPIData depends on the alignment of 64-bit numbers, which is 4 on i386 and 8 elsewhere. */
#define VALUE_SIZE (POINTER == 8 ? 16 : 8)
#define VALUE_OFFSET (ALIGN64 == 8 ? 8 : 4)

#define SIZE(type, size) _Static_assert(sizeof(type) == (size), "size of " #type)
#define OFFSET(type, member, at) _Static_assert(offsetof(type, member) == (at), "offset of " #member)
#define CODE(name, code) _Static_assert((name) == (code), #name)

SIZE(CMPIBoolean, 1);
SIZE(CMPIUint8, 1);
SIZE(CMPIChar16, 2);
SIZE(CMPIUint16, 2);
SIZE(CMPIUint32, sizeof(long));
SIZE(CMPISint32, sizeof(long));
SIZE(CMPIUint64, 8);
SIZE(CMPIReal32, 4);
SIZE(CMPIReal64, 8);
SIZE(CMPIType, 2);
SIZE(CMPIValueState, 2);
SIZE(CMPICount, 4);
SIZE(CMPIFlags, 4);
SIZE(CMPIrc, 4);
SIZE(CMPIStatus, 2 * POINTER);
OFFSET(CMPIStatus, msg, POINTER);
SIZE(CMPIValuePtr, 2 * POINTER);
SIZE(CMPIValue, VALUE_SIZE);
SIZE(CMPIData, VALUE_OFFSET + VALUE_SIZE);
OFFSET(CMPIData, type, 0);
OFFSET(CMPIData, state, 2);
OFFSET(CMPIData, value, VALUE_OFFSET);

#define OBJECT(type)                                                                                         \
    SIZE(type, 2 * POINTER);                                                                                 \
    OFFSET(type, hdl, 0);                                                                                    \
    OFFSET(type, ft, POINTER);                                                                               \
    OFFSET(type##FT, ftVersion, 0);                                                                          \
    OFFSET(type##FT, release, POINTER);                                                                      \
    OFFSET(type##FT, clone, 2 * POINTER)

#define SLOT(type, number, slot) OFFSET(type##FT, slot, ((number) + 2) * POINTER);
#include "client/slots.def"
#undef SLOT
#define SLOTS(type, count) SIZE(type##FT, ((count) + 3) * POINTER)

OBJECT(CMPIString);
SLOTS(CMPIString, 1);

OBJECT(CMPIArray);
SLOTS(CMPIArray, 4);

OBJECT(CMPIArgs);
SLOTS(CMPIArgs, 4);

OBJECT(CMPIEnumeration);
SLOTS(CMPIEnumeration, 3);

OBJECT(CMPIObjectPath);
SLOTS(CMPIObjectPath, 17);

OBJECT(CMPIInstance);
SLOTS(CMPIInstance, 12);

OBJECT(CMPIDateTime);
SLOTS(CMPIDateTime, 3);

OBJECT(CMPIConstClass);

OBJECT(CMCIClient);
SLOTS(CMCIClient, 17);

CODE(CMPI_uint32, 0xa0);
CODE(CMPI_INTEGER, 0xc0);
CODE(CMPI_stringA, CMPI_ARRAY | CMPI_string);
CODE(CMPI_refA, CMPI_ARRAY | CMPI_ref);
CODE(CMPI_RC_ERR_METHOD_NOT_FOUND, 17);
CODE(CMPI_RC_NEVER_UNLOAD, 51);
CODE(CMPI_RC_ERROR, 200);
