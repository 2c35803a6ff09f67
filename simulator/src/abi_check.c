/* abi_check.c - holds the client library's headers to the binary interface: sizes and offsets of the
 * data types, codes, and the order of the slots. Compiles to nothing. */
#include <CimClientLib/cmci.h>
#include <CimClientLib/native.h>

#include <stddef.h>

struct aligned64 {
    char before;
    CMPIUint64 number;
};
#define POINTER sizeof(void *)
#define ALIGN64 offsetof(struct aligned64, number)

/* A value is as wide as its widest member: { pointer, length } on LP64, a 64-bit number elsewhere. Where
 * it begins in a CMPIData is a matter of alignment: LP64, 32-bit with 8-aligned 64-bit numbers, i386. */
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

/* The slots after `clone`, numbered from 1. */
#define SLOT(type, number, slot) OFFSET(type##FT, slot, ((number) + 2) * POINTER)
#define SLOTS(type, count) SIZE(type##FT, ((count) + 3) * POINTER)

OBJECT(CMPIString);
SLOT(CMPIString, 1, getCharPtr);
SLOTS(CMPIString, 1);

OBJECT(CMPIArray);
SLOT(CMPIArray, 1, getSize);
SLOT(CMPIArray, 2, getSimpleType);
SLOT(CMPIArray, 3, getElementAt);
SLOT(CMPIArray, 4, setElementAt);
SLOTS(CMPIArray, 4);

OBJECT(CMPIArgs);
SLOT(CMPIArgs, 1, addArg);
SLOT(CMPIArgs, 2, getArg);
SLOT(CMPIArgs, 3, getArgAt);
SLOT(CMPIArgs, 4, getArgCount);
SLOTS(CMPIArgs, 4);

OBJECT(CMPIEnumeration);
SLOT(CMPIEnumeration, 1, getNext);
SLOT(CMPIEnumeration, 2, hasNext);
SLOT(CMPIEnumeration, 3, toArray);
SLOTS(CMPIEnumeration, 3);

OBJECT(CMPIObjectPath);
SLOT(CMPIObjectPath, 1, setNameSpace);
SLOT(CMPIObjectPath, 2, getNameSpace);
SLOT(CMPIObjectPath, 3, setHostname);
SLOT(CMPIObjectPath, 4, getHostname);
SLOT(CMPIObjectPath, 5, setClassName);
SLOT(CMPIObjectPath, 6, getClassName);
SLOT(CMPIObjectPath, 7, addKey);
SLOT(CMPIObjectPath, 8, getKey);
SLOT(CMPIObjectPath, 9, getKeyAt);
SLOT(CMPIObjectPath, 10, getKeyCount);
SLOT(CMPIObjectPath, 11, setNameSpaceFromObjectPath);
SLOT(CMPIObjectPath, 12, setHostAndNameSpaceFromObjectPath);
SLOT(CMPIObjectPath, 13, getClassQualifier);
SLOT(CMPIObjectPath, 14, getPropertyQualifier);
SLOT(CMPIObjectPath, 15, getMethodQualifier);
SLOT(CMPIObjectPath, 16, getParameterQualifier);
SLOT(CMPIObjectPath, 17, toString);
SLOTS(CMPIObjectPath, 17);

OBJECT(CMPIInstance);
SLOT(CMPIInstance, 1, getProperty);
SLOT(CMPIInstance, 2, getPropertyAt);
SLOT(CMPIInstance, 3, getPropertyCount);
SLOT(CMPIInstance, 4, setProperty);
SLOT(CMPIInstance, 5, getObjectPath);
SLOT(CMPIInstance, 6, setPropertyFilter);
SLOT(CMPIInstance, 7, getQualifier);
SLOT(CMPIInstance, 8, getQualifierAt);
SLOT(CMPIInstance, 9, getQualifierCount);
SLOT(CMPIInstance, 10, getPropertyQualifier);
SLOT(CMPIInstance, 11, getPropertyQualifierAt);
SLOT(CMPIInstance, 12, getPropertyQualifierCount);
SLOTS(CMPIInstance, 12);

OBJECT(CMPIDateTime);
SLOT(CMPIDateTime, 1, getBinaryFormat);
SLOT(CMPIDateTime, 2, getStringFormat);
SLOT(CMPIDateTime, 3, isInterval);
SLOTS(CMPIDateTime, 3);

OBJECT(CMPIConstClass);

OBJECT(CMCIClient);
SLOT(CMCIClient, 1, getClass);
SLOT(CMCIClient, 2, enumClassNames);
SLOT(CMCIClient, 3, enumClasses);
SLOT(CMCIClient, 4, getInstance);
SLOT(CMCIClient, 5, createInstance);
SLOT(CMCIClient, 6, setInstance);
SLOT(CMCIClient, 7, deleteInstance);
SLOT(CMCIClient, 8, execQuery);
SLOT(CMCIClient, 9, enumInstanceNames);
SLOT(CMCIClient, 10, enumInstances);
SLOT(CMCIClient, 11, associators);
SLOT(CMCIClient, 12, associatorNames);
SLOT(CMCIClient, 13, references);
SLOT(CMCIClient, 14, referenceNames);
SLOT(CMCIClient, 15, invokeMethod);
SLOT(CMCIClient, 16, setProperty);
SLOT(CMCIClient, 17, getProperty);
SLOTS(CMCIClient, 17);

CODE(CMPI_uint32, 0xa0);
CODE(CMPI_INTEGER, 0xc0);
CODE(CMPI_stringA, CMPI_ARRAY | CMPI_string);
CODE(CMPI_refA, CMPI_ARRAY | CMPI_ref);
CODE(CMPI_RC_ERR_METHOD_NOT_FOUND, 17);
CODE(CMPI_RC_NEVER_UNLOAD, 51);
CODE(CMPI_RC_ERROR, 200);
