/* cmcidt.h - data types of the CIM client library (CMPI, C binding).
 *
 * Layouts, names and codes are those of the real library, so that a program compiled against
 * this header runs with either library. simulator/src/client/abi_check.c checks this at compile time. */
#ifndef CIMCLIENTLIB_CMCIDT_H
#define CIMCLIENTLIB_CMCIDT_H

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned char CMPIBoolean;
typedef unsigned char CMPIUint8;
typedef unsigned short CMPIUint16;
typedef unsigned long CMPIUint32; /* as in the real header; only the low 32 bits are used */
typedef unsigned long long CMPIUint64;
typedef signed char CMPISint8;
typedef short CMPISint16;
typedef long CMPISint32; /* as CMPIUint32 */
typedef long long CMPISint64;
typedef float CMPIReal32;
typedef double CMPIReal64;
typedef unsigned short CMPIChar16;
typedef unsigned short CMPIType;
typedef unsigned short CMPIValueState;
typedef unsigned int CMPICount;
typedef unsigned int CMPIFlags;

/* Every object is a pair of an opaque handle and the table of its functions. */
#define CMCI_OBJECT(name)                                                                                    \
    struct name##FT_;                                                                                        \
    typedef struct name##FT_ name##FT;                                                                       \
    typedef struct name##_ {                                                                                 \
        void *hdl;                                                                                           \
        name##FT *ft;                                                                                        \
    } name
CMCI_OBJECT(CMCIClient);
CMCI_OBJECT(CMPIObjectPath);
CMCI_OBJECT(CMPIInstance);
CMCI_OBJECT(CMPIArgs);
CMCI_OBJECT(CMPIString);
CMCI_OBJECT(CMPIArray);
CMCI_OBJECT(CMPIEnumeration);
CMCI_OBJECT(CMPIDateTime);
CMCI_OBJECT(CMPIConstClass);
#undef CMCI_OBJECT

typedef struct CMPIValuePtr_ {
    void *ptr;
    unsigned int length;
} CMPIValuePtr;

typedef union CMPIValue_ {
    CMPIUint64 uint64;
    CMPIUint32 uint32;
    CMPIUint16 uint16;
    CMPIUint8 uint8;
    CMPISint64 sint64;
    CMPISint32 sint32;
    CMPISint16 sint16;
    CMPISint8 sint8;
    CMPIReal64 real64;
    CMPIReal32 real32;
    CMPIBoolean boolean;
    CMPIChar16 char16;

    CMPIConstClass *cls;
    CMPIInstance *inst;
    CMPIObjectPath *ref;
    CMPIArgs *args;
    CMPIEnumeration *Enum;
    CMPIArray *array;
    CMPIString *string;
    char *chars;
    CMPIDateTime *dateTime;
    CMPIValuePtr dataPtr;

    CMPISint8 Byte;
    CMPISint16 Short;
    CMPISint32 Int;
    CMPISint64 Long;
    CMPIReal32 Float;
    CMPIReal64 Double;
} CMPIValue;

/* Types of a value. */
#define CMPI_null 0x0000
#define CMPI_SIMPLE 0x0002
#define CMPI_boolean 0x0002
#define CMPI_char16 0x0003
#define CMPI_REAL 0x0008
#define CMPI_real32 0x0008
#define CMPI_real64 0x000c
#define CMPI_UINT 0x0080
#define CMPI_uint8 0x0080
#define CMPI_uint16 0x0090
#define CMPI_uint32 0x00a0
#define CMPI_uint64 0x00b0
#define CMPI_SINT 0x00c0
#define CMPI_sint8 0x00c0
#define CMPI_sint16 0x00d0
#define CMPI_sint32 0x00e0
#define CMPI_sint64 0x00f0
#define CMPI_INTEGER (CMPI_UINT | CMPI_SINT)

#define CMPI_ENC 0x1000
#define CMPI_instance 0x1000
#define CMPI_ref 0x1100
#define CMPI_args 0x1200
#define CMPI_class 0x1300
#define CMPI_filter 0x1400
#define CMPI_enumeration 0x1500
#define CMPI_string 0x1600
#define CMPI_chars 0x1700
#define CMPI_dateTime 0x1800
#define CMPI_ptr 0x1900
#define CMPI_charsptr 0x1a00

/* Strings that contain a value of another type. */
#define CMPI_integerString 0x16f0
#define CMPI_realString 0x160c
#define CMPI_numericString 0x16fc
#define CMPI_booleanString 0x1602
#define CMPI_dateTimeString 0x1e00

#define CMPI_ARRAY 0x2000
#define CMPI_booleanA 0x2002
#define CMPI_char16A 0x2003
#define CMPI_real32A 0x2008
#define CMPI_real64A 0x200c
#define CMPI_uint8A 0x2080
#define CMPI_uint16A 0x2090
#define CMPI_uint32A 0x20a0
#define CMPI_uint64A 0x20b0
#define CMPI_sint8A 0x20c0
#define CMPI_sint16A 0x20d0
#define CMPI_sint32A 0x20e0
#define CMPI_sint64A 0x20f0
#define CMPI_instanceA 0x3000
#define CMPI_refA 0x3100
#define CMPI_stringA 0x3600
#define CMPI_charsA 0x3700
#define CMPI_dateTimeA 0x3800
#define CMPI_ptrA 0x3900
#define CMPI_charsptrA 0x3a00

/* States of a value; the bits may be combined. */
#define CMPI_goodValue 0x0000
#define CMPI_nullValue 0x0100
#define CMPI_keyValue 0x0200
#define CMPI_notFound 0x0400
#define CMPI_badValue 0x8000

typedef struct CMPIData_ {
    CMPIType type;
    CMPIValueState state;
    CMPIValue value;
} CMPIData;

/* Flags of the operations on instances. */
#define CMPI_FLAG_LocalOnly 1
#define CMPI_FLAG_DeepInheritance 2
#define CMPI_FLAG_IncludeQualifiers 4
#define CMPI_FLAG_IncludeClassOrigin 8

typedef enum CMPIrc_ {
    CMPI_RC_OK = 0,
    CMPI_RC_ERR_FAILED = 1,
    CMPI_RC_ERR_ACCESS_DENIED = 2,
    CMPI_RC_ERR_INVALID_NAMESPACE = 3,
    CMPI_RC_ERR_INVALID_PARAMETER = 4,
    CMPI_RC_ERR_INVALID_CLASS = 5,
    CMPI_RC_ERR_NOT_FOUND = 6,
    CMPI_RC_ERR_NOT_SUPPORTED = 7,
    CMPI_RC_ERR_CLASS_HAS_CHILDREN = 8,
    CMPI_RC_ERR_CLASS_HAS_INSTANCES = 9,
    CMPI_RC_ERR_INVALID_SUPERCLASS = 10,
    CMPI_RC_ERR_ALREADY_EXISTS = 11,
    CMPI_RC_ERR_NO_SUCH_PROPERTY = 12,
    CMPI_RC_ERR_TYPE_MISMATCH = 13,
    CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED = 14,
    CMPI_RC_ERR_INVALID_QUERY = 15,
    CMPI_RC_ERR_METHOD_NOT_AVAILABLE = 16,
    CMPI_RC_ERR_METHOD_NOT_FOUND = 17,
    CMPI_RC_DO_NOT_UNLOAD = 50,
    CMPI_RC_NEVER_UNLOAD = 51,
    CMPI_RC_ERROR_SYSTEM = 100,
    CMPI_RC_ERROR = 200
} CMPIrc;

typedef struct CMPIStatus_ {
    CMPIrc rc;
    CMPIString *msg; /* owned by the caller that receives it; NULL when there is none */
} CMPIStatus;

#ifdef __cplusplus
}
#endif

#endif
