#pragma once

/// One pair of a string hash. Both texts are owned by the hash.
typedef struct VLIBSZPAIR {
    char* key;
    char* value;
} VLIBSZPAIR;

/// Growable table of string pairs with unique keys. `pairs[0 .. count-1]` stand in the order in
/// which their keys were first set.
typedef struct VLIBSZHASH {
    int count;     ///< pairs held; read only
    int capacity;  ///< pairs there is room for
    VLIBSZPAIR* pairs;
    int* buckets;  ///< open addressing over `pairs`, twice the capacity; -1 is free
} VLIBSZHASH;

#ifdef __cplusplus
extern "C" {
#endif

/// @param capacity  pairs to begin with; the table grows by doubling
/// @return the table, or null when memory is short or `capacity` is below 1
VLIBSZHASH* VLIBCSzHashAlloc(int capacity);

/// Frees the table and its strings. Null is allowed.
void VLIBCSzHashFree(VLIBSZHASH* hash);

/// Inserts a pair or replaces the value of its key. The table may move, hence its address.
/// @return 0, or -1 (null argument or no memory; the table is unchanged)
int VLIBCSzHashSetValue(VLIBSZHASH** hash, const char* key, const char* value);

/// @return the value of `key`, owned by the table, or null when the key is absent
const char* VLIBCSzHashGetValue(const VLIBSZHASH* hash, const char* key);

/// @return the key in slot `index`, in the order of insertion, or null past the last
const char* VLIBCSzHashEnumKey(const VLIBSZHASH* hash, int index);

/// Drops every pair and keeps the table allocated. Null is allowed.
void VLIBCHashRemoveAll(VLIBSZHASH* hash);

#ifdef __cplusplus
}
#endif
