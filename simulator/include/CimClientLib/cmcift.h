/* cmcift.h - function tables of the CIM client library's objects (CMPI, C binding).
 *
 * The order of the slots is the binary interface. Every CMPIStatus pointer may be NULL unless the
 * slot says otherwise. */
#ifndef CIMCLIENTLIB_CMCIFT_H
#define CIMCLIENTLIB_CMCIFT_H

#include <CimClientLib/cmcidt.h>

#ifdef __cplusplus
extern "C" {
#endif

struct CMPIStringFT_ {
    int ftVersion;
    CMPIStatus (*release)(CMPIString *self);
    CMPIString *(*clone)(CMPIString *self, CMPIStatus *rc);
    char *(*getCharPtr)(CMPIString *self, CMPIStatus *rc);
};

struct CMPIArrayFT_ {
    int ftVersion;
    CMPIStatus (*release)(CMPIArray *self);
    CMPIArray *(*clone)(CMPIArray *self, CMPIStatus *rc);
    CMPICount (*getSize)(CMPIArray *self, CMPIStatus *rc);
    CMPIType (*getSimpleType)(CMPIArray *self, CMPIStatus *rc);
    CMPIData (*getElementAt)(CMPIArray *self, CMPICount index, CMPIStatus *rc);
    CMPIStatus (*setElementAt)(CMPIArray *self, CMPICount index, CMPIValue *value, CMPIType type);
};

struct CMPIArgsFT_ {
    int ftVersion;
    CMPIStatus (*release)(CMPIArgs *self);
    CMPIArgs *(*clone)(CMPIArgs *self, CMPIStatus *rc);
    CMPIStatus (*addArg)(CMPIArgs *self, const char *name, CMPIValue *value, CMPIType type);
    CMPIData (*getArg)(CMPIArgs *self, const char *name, CMPIStatus *rc);
    CMPIData (*getArgAt)(CMPIArgs *self, unsigned int index, CMPIString **name, CMPIStatus *rc);
    unsigned int (*getArgCount)(CMPIArgs *self, CMPIStatus *rc);
};

struct CMPIEnumerationFT_ {
    int ftVersion;
    CMPIStatus (*release)(CMPIEnumeration *self);
    CMPIEnumeration *(*clone)(CMPIEnumeration *self, CMPIStatus *rc);
    CMPIData (*getNext)(CMPIEnumeration *self, CMPIStatus *rc);
    CMPIBoolean (*hasNext)(CMPIEnumeration *self, CMPIStatus *rc);
    CMPIArray *(*toArray)(CMPIEnumeration *self, CMPIStatus *rc);
};

struct CMPIObjectPathFT_ {
    int ftVersion;
    CMPIStatus (*release)(CMPIObjectPath *self);
    CMPIObjectPath *(*clone)(CMPIObjectPath *self, CMPIStatus *rc);
    CMPIStatus (*setNameSpace)(CMPIObjectPath *self, const char *name_space);
    CMPIString *(*getNameSpace)(CMPIObjectPath *self, CMPIStatus *rc);
    CMPIStatus (*setHostname)(CMPIObjectPath *self, const char *hostname);
    CMPIString *(*getHostname)(CMPIObjectPath *self, CMPIStatus *rc);
    CMPIStatus (*setClassName)(CMPIObjectPath *self, const char *class_name);
    CMPIString *(*getClassName)(CMPIObjectPath *self, CMPIStatus *rc);
    CMPIStatus (*addKey)(CMPIObjectPath *self, const char *name, CMPIValue *value, CMPIType type);
    CMPIData (*getKey)(CMPIObjectPath *self, const char *name, CMPIStatus *rc);
    CMPIData (*getKeyAt)(CMPIObjectPath *self, unsigned int index, CMPIString **name, CMPIStatus *rc);
    unsigned int (*getKeyCount)(CMPIObjectPath *self, CMPIStatus *rc);
    CMPIStatus (*setNameSpaceFromObjectPath)(CMPIObjectPath *self, CMPIObjectPath *source);
    CMPIStatus (*setHostAndNameSpaceFromObjectPath)(CMPIObjectPath *self, CMPIObjectPath *source);
    CMPIData (*getClassQualifier)(CMPIObjectPath *self, const char *qualifier, CMPIStatus *rc);
    CMPIData (*getPropertyQualifier)(CMPIObjectPath *self, const char *property, const char *qualifier,
                                     CMPIStatus *rc);
    CMPIData (*getMethodQualifier)(CMPIObjectPath *self, const char *method, const char *qualifier,
                                   CMPIStatus *rc);
    CMPIData (*getParameterQualifier)(CMPIObjectPath *self, const char *method, const char *parameter,
                                      const char *qualifier, CMPIStatus *rc);
    CMPIString *(*toString)(CMPIObjectPath *self, CMPIStatus *rc);
};

struct CMPIInstanceFT_ {
    int ftVersion;
    CMPIStatus (*release)(CMPIInstance *self);
    CMPIInstance *(*clone)(CMPIInstance *self, CMPIStatus *rc);
    CMPIData (*getProperty)(CMPIInstance *self, const char *name, CMPIStatus *rc);
    CMPIData (*getPropertyAt)(CMPIInstance *self, unsigned int index, CMPIString **name, CMPIStatus *rc);
    unsigned int (*getPropertyCount)(CMPIInstance *self, CMPIStatus *rc);
    CMPIStatus (*setProperty)(CMPIInstance *self, const char *name, CMPIValue *value, CMPIType type);
    CMPIObjectPath *(*getObjectPath)(CMPIInstance *self, CMPIStatus *rc);
    CMPIStatus (*setPropertyFilter)(CMPIInstance *self, char **properties, char **keys);
    CMPIData (*getQualifier)(CMPIInstance *self, const char *name, CMPIStatus *rc);
    CMPIData (*getQualifierAt)(CMPIInstance *self, unsigned int index, CMPIString **name, CMPIStatus *rc);
    unsigned int (*getQualifierCount)(CMPIInstance *self, CMPIStatus *rc);
    CMPIData (*getPropertyQualifier)(CMPIInstance *self, const char *property, const char *qualifier,
                                     CMPIStatus *rc);
    CMPIData (*getPropertyQualifierAt)(CMPIInstance *self, const char *property, unsigned int index,
                                       CMPIString **name, CMPIStatus *rc);
    unsigned int (*getPropertyQualifierCount)(CMPIInstance *self, const char *property, CMPIStatus *rc);
};

struct CMPIDateTimeFT_ {
    int ftVersion;
    CMPIStatus (*release)(CMPIDateTime *self);
    CMPIDateTime *(*clone)(CMPIDateTime *self, CMPIStatus *rc);
    CMPIUint64 (*getBinaryFormat)(CMPIDateTime *self, CMPIStatus *rc);
    CMPIString *(*getStringFormat)(CMPIDateTime *self, CMPIStatus *rc);
    CMPIBoolean (*isInterval)(CMPIDateTime *self, CMPIStatus *rc);
};

/* Only the slots that every table begins with; the others are not used. */
struct CMPIConstClassFT_ {
    int ftVersion;
    CMPIStatus (*release)(CMPIConstClass *self);
    CMPIConstClass *(*clone)(CMPIConstClass *self, CMPIStatus *rc);
};

struct CMCIClientFT_ {
    int ftVersion;
    CMPIStatus (*release)(CMCIClient *self);
    CMCIClient *(*clone)(CMCIClient *self, CMPIStatus *rc);
    CMPIConstClass *(*getClass)(CMCIClient *self, CMPIObjectPath *op, CMPIFlags flags, char **properties,
                                CMPIStatus *rc);
    CMPIEnumeration *(*enumClassNames)(CMCIClient *self, CMPIObjectPath *op, CMPIFlags flags, CMPIStatus *rc);
    CMPIEnumeration *(*enumClasses)(CMCIClient *self, CMPIObjectPath *op, CMPIFlags flags, CMPIStatus *rc);
    CMPIInstance *(*getInstance)(CMCIClient *self, CMPIObjectPath *op, CMPIFlags flags, char **properties,
                                 CMPIStatus *rc);
    CMPIObjectPath *(*createInstance)(CMCIClient *self, CMPIObjectPath *op, CMPIInstance *instance,
                                      CMPIStatus *rc);
    CMPIStatus (*setInstance)(CMCIClient *self, CMPIObjectPath *op, CMPIInstance *instance, CMPIFlags flags,
                              char **properties);
    CMPIStatus (*deleteInstance)(CMCIClient *self, CMPIObjectPath *op);
    CMPIEnumeration *(*execQuery)(CMCIClient *self, CMPIObjectPath *op, const char *query,
                                  const char *language, CMPIStatus *rc);
    CMPIEnumeration *(*enumInstanceNames)(CMCIClient *self, CMPIObjectPath *op, CMPIStatus *rc);
    CMPIEnumeration *(*enumInstances)(CMCIClient *self, CMPIObjectPath *op, CMPIFlags flags,
                                      char **properties, CMPIStatus *rc);
    CMPIEnumeration *(*associators)(CMCIClient *self, CMPIObjectPath *op, const char *association_class,
                                    const char *result_class, const char *role, const char *result_role,
                                    CMPIFlags flags, char **properties, CMPIStatus *rc);
    CMPIEnumeration *(*associatorNames)(CMCIClient *self, CMPIObjectPath *op, const char *association_class,
                                        const char *result_class, const char *role, const char *result_role,
                                        CMPIStatus *rc);
    CMPIEnumeration *(*references)(CMCIClient *self, CMPIObjectPath *op, const char *result_class,
                                   const char *role, CMPIFlags flags, char **properties, CMPIStatus *rc);
    CMPIEnumeration *(*referenceNames)(CMCIClient *self, CMPIObjectPath *op, const char *result_class,
                                       const char *role, CMPIStatus *rc);
    /* rc must not be NULL. */
    CMPIData (*invokeMethod)(CMCIClient *self, CMPIObjectPath *op, const char *method, CMPIArgs *in,
                             CMPIArgs *out, CMPIStatus *rc);
    CMPIStatus (*setProperty)(CMCIClient *self, CMPIObjectPath *op, const char *name, CMPIValue *value,
                              CMPIType type);
    CMPIData (*getProperty)(CMCIClient *self, CMPIObjectPath *op, const char *name, CMPIStatus *rc);
};

#ifdef __cplusplus
}
#endif

#endif
