#pragma once

#include "vlib/szlist.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Removes white space at both ends, in place.
/// @param options  reserved; 0
/// @return `text`
char* VLIBCStrTrimSpace(char* text, int options);

/// Splits at every character of `delimiters` and pushes the parts that are not empty.
/// @return the number of parts, or -1 (null argument or no memory)
int VLIBCStrSep(const char* text, const char* delimiters, VLIBSZLIST** list);

#ifdef __cplusplus
}
#endif
