/* The public header must compile alone as strict C99. */
#include "mc.h"

int mc_header_c99_compiles(void) { return (int)sizeof(TraceActive); }
