#include "vlib/szhash.h"

#include <cstdlib>
#include <functional>

#include "growing.h"
#include "owned_text.h"
#include "szhash_text.h"
#include "vlib/error.h"

namespace {

using vlib::KeyOf;

/// Up to here comparing all keys is as quick as hashing one, and most tables stay below it.
constexpr int kMaxWithoutIndex = 8;

size_t Mask(const VLIBSZHASH& hash) {
    return static_cast<size_t>(hash.bucketCount) - 1;
}

/// The bucket that names `key`, or the free one where it belongs. A bucket holds slot + 1.
size_t FindBucket(const VLIBSZHASH& hash, std::string_view key) {
    size_t bucket = std::hash<std::string_view>{}(key)&Mask(hash);
    while (hash.buckets[bucket] != 0 && key != KeyOf(hash.pairs[hash.buckets[bucket] - 1])) {
        bucket = (bucket + 1) & Mask(hash);
    }
    return bucket;
}

void DropIndex(VLIBSZHASH* hash) {
    std::free(hash->buckets);
    hash->buckets = nullptr;
    hash->bucketCount = 0;
}

bool BuildIndex(VLIBSZHASH* hash, int bucketCount) {
    const auto buckets =
        static_cast<int*>(std::calloc(static_cast<size_t>(bucketCount), sizeof(int)));
    if (buckets == nullptr) {
        return false;
    }
    DropIndex(hash);
    hash->buckets = buckets;
    hash->bucketCount = bucketCount;
    for (int slot = 0; slot < hash->count; ++slot) {
        buckets[FindBucket(*hash, KeyOf(hash->pairs[slot]))] = slot + 1;
    }
    return true;
}

/// Room for one more pair, with at least half of the buckets left free.
bool Reserve(VLIBSZHASH* hash) {
    if (!vlib::MakeRoom(hash, &VLIBSZHASH::pairs)) {
        return false;
    }
    if (hash->count < kMaxWithoutIndex || (hash->count + 1) * 2 <= hash->bucketCount) {
        return true;
    }
    const int least = kMaxWithoutIndex * 4;
    return BuildIndex(hash, hash->bucketCount == 0 ? least : hash->bucketCount * 2);
}

/// A new pair has both its texts in one allocation; a value that is replaced gets its own.
bool HasOwnValue(const VLIBSZPAIR& pair) {
    return pair.value != pair.key + pair.keyLength + 1;
}

void FreePair(const VLIBSZPAIR& pair) {
    if (HasOwnValue(pair)) {
        std::free(pair.value);
    }
    std::free(pair.key);
}

bool ReplaceValue(VLIBSZPAIR& pair, std::string_view value) {
    char* const copy = vlib::CopyText(value);
    if (copy == nullptr) {
        return false;
    }
    if (HasOwnValue(pair)) {
        std::free(pair.value);
    }
    pair.value = copy;
    pair.valueLength = value.size();
    return true;
}

bool Append(VLIBSZHASH* hash, std::string_view key, std::string_view value) {
    const auto texts = static_cast<char*>(std::malloc(key.size() + value.size() + 2));
    if (texts == nullptr || !Reserve(hash)) {
        std::free(texts);
        return false;
    }
    if (hash->bucketCount != 0) {
        hash->buckets[FindBucket(*hash, key)] = hash->count + 1;
    }
    char* const valueText = vlib::PutText(texts, key);
    vlib::PutText(valueText, value);
    hash->pairs[hash->count++] = {texts, valueText, key.size(), value.size()};
    return true;
}

}  // namespace

namespace vlib {

int FindPair(const VLIBSZHASH& hash, std::string_view key) {
    if (hash.bucketCount != 0) {
        return hash.buckets[FindBucket(hash, key)] - 1;
    }
    for (int slot = 0; slot < hash.count; ++slot) {
        if (key == KeyOf(hash.pairs[slot])) {
            return slot;
        }
    }
    return -1;
}

int SetPair(VLIBSZHASH* hash, std::string_view key, std::string_view value) {
    const int slot = FindPair(*hash, key);
    if (slot >= 0 ? ReplaceValue(hash->pairs[slot], value) : Append(hash, key, value)) {
        return 0;
    }
    VLIBCErrSet(VLIB_ERR_NO_MEMORY);
    return -1;
}

}  // namespace vlib

extern "C" {

VLIBSZHASH* VLIBCSzHashAlloc(int capacity) {
    return vlib::AllocContainer(capacity, &VLIBSZHASH::pairs);
}

void VLIBCSzHashFree(VLIBSZHASH* hash) {
    if (hash == nullptr) {
        return;
    }
    VLIBCHashRemoveAll(hash);
    std::free(hash->pairs);
    std::free(hash);
}

int VLIBCSzHashSetValue(VLIBSZHASH** hash, const char* key, const char* value) {
    if (hash == nullptr || *hash == nullptr || key == nullptr || value == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return vlib::SetPair(*hash, key, value);
}

const char* VLIBCSzHashGetValue(const VLIBSZHASH* hash, const char* key) {
    if (hash == nullptr || key == nullptr) {
        return nullptr;
    }
    const int slot = vlib::FindPair(*hash, key);
    return slot < 0 ? nullptr : hash->pairs[slot].value;
}

const char* VLIBCSzHashEnumKey(const VLIBSZHASH* hash, int index) {
    return hash != nullptr && index >= 0 && index < hash->count ? hash->pairs[index].key : nullptr;
}

void VLIBCHashRemoveAll(VLIBSZHASH* hash) {
    if (hash == nullptr) {
        return;
    }
    for (int slot = 0; slot < hash->count; ++slot) {
        FreePair(hash->pairs[slot]);
    }
    hash->count = 0;
    DropIndex(hash);
}
}
