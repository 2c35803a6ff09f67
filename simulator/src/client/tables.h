// tables.h - the function table of each kind of object.
#ifndef CIMSIM_TABLES_H
#define CIMSIM_TABLES_H

#include <CimClientLib/cmcift.h>

namespace cimsim {

extern CMPIStringFT string_table;
extern CMPIArrayFT array_table;
extern CMPIArgsFT args_table;
extern CMPIEnumerationFT enumeration_table;
extern CMPIObjectPathFT path_table;
extern CMPIInstanceFT instance_table;
extern CMPIDateTimeFT date_time_table;
extern CMPIConstClassFT const_class_table;
extern CMCIClientFT client_table;

} // namespace cimsim

#endif
