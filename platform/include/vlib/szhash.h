#pragma once

#include <stddef.h>

/// One pair of a string hash. Both texts are owned by the hash; a key stays where it is until its
/// pair is removed, a value until it is replaced.
typedef struct VLIBSZPAIR {
    char* key;
    char* value;
    size_t keyLength;
    size_t valueLength;
} VLIBSZPAIR;

/// Growable table of string pairs with unique keys. `pairs[0 .. count-1]` stand in the order in
/// which their keys were first set.
typedef struct VLIBSZHASH {
    int count;     ///< pairs held; read only
    int capacity;  ///< pairs there is room for
    VLIBSZPAIR* pairs;
    int* buckets;     ///< index over `pairs`, built once the table is worth one
    int bucketCount;  ///< a power of two; 0 while there is no index
} VLIBSZHASH;

typedef VLIBSZHASH* PVLIBSZHASH;

#ifdef __cplusplus
extern "C" {
#endif

/// Costs the same for any capacity: no slot is touched before it is used.
/// @param capacity  pairs to begin with; the table grows by doubling
/// @return the table, or null when memory is short or `capacity` is below 1
VLIBSZHASH* VLIBCSzHashAlloc(int capacity);

/// Frees the table and its strings. Null is allowed.
void VLIBCSzHashFree(VLIBSZHASH* hash);

/// Inserts a pair or replaces the value of its key. The table may move, hence its address. `key`
/// and `value` may be texts of the table itself.
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
