/* foreign_client.c - a client library that is not the simulator, and does nothing. */
#define NOTHING(name)                                                                                        \
    void *name(void);                                                                                        \
    void *name(void) { return 0; }

NOTHING(cmciConnect)
NOTHING(newCMPIObjectPath)
NOTHING(native_new_CMPIArgs)
NOTHING(native_new_CMPIArray)
NOTHING(native_new_CMPIString)
