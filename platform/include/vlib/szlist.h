#pragma once

/// Growable list of owned, NUL-terminated strings, kept in the order of pushing.
typedef struct VLIBSZLIST {
    int count;     ///< strings held; read only
    int capacity;  ///< slots allocated
    char** items;
} VLIBSZLIST;

typedef VLIBSZLIST* PVLIBSZLIST;

#ifdef __cplusplus
extern "C" {
#endif

/// @param capacity  slots to begin with; the list grows by doubling
/// @return the list, or null when memory is short or `capacity` is below 1
VLIBSZLIST* VLIBCSzListAlloc(int capacity);

/// Frees the list and its strings. Null is allowed.
void VLIBCSzListFree(VLIBSZLIST* list);

/// Appends a copy of `text`. The list may move, hence its address.
/// @return the new count, or -1 (null argument or no memory; the list is unchanged)
int VLIBCSzListPush(VLIBSZLIST** list, const char* text);

/// @return the string at `index`, owned by the list, or null when there is none
const char* VLIBCSzListGet(const VLIBSZLIST* list, int index);

/// Drops every string and keeps the list allocated. Null is allowed.
void VLIBCSzListClean(VLIBSZLIST* list);

#ifdef __cplusplus
}
#endif
