#include "vlib/szlist.h"

#include <climits>
#include <cstdlib>

#include "owned_text.h"
#include "szlist_text.h"
#include "vlib/error.h"

namespace {

bool Grow(VLIBSZLIST* list) {
    if (list->capacity > INT_MAX / 2) {
        return false;
    }
    const auto capacity = static_cast<size_t>(list->capacity) * 2;
    const auto items = static_cast<char**>(std::realloc(list->items, capacity * sizeof(char*)));
    if (items == nullptr) {
        return false;
    }
    list->items = items;
    list->capacity = static_cast<int>(capacity);
    return true;
}

}  // namespace

namespace vlib {

int PushText(VLIBSZLIST* list, std::string_view text) {
    char* const copy = CopyText(text);
    if (copy == nullptr || (list->count == list->capacity && !Grow(list))) {
        std::free(copy);
        VLIBCErrSet(VLIB_ERR_NO_MEMORY);
        return -1;
    }
    list->items[list->count] = copy;
    return ++list->count;
}

}  // namespace vlib

extern "C" {

VLIBSZLIST* VLIBCSzListAlloc(int capacity) {
    if (capacity < 1) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return nullptr;
    }
    const auto list = static_cast<VLIBSZLIST*>(std::malloc(sizeof(VLIBSZLIST)));
    const auto items =
        static_cast<char**>(std::malloc(static_cast<size_t>(capacity) * sizeof(char*)));
    if (list == nullptr || items == nullptr) {
        std::free(list);
        std::free(items);
        VLIBCErrSet(VLIB_ERR_NO_MEMORY);
        return nullptr;
    }
    *list = {0, capacity, items};
    return list;
}

void VLIBCSzListFree(VLIBSZLIST* list) {
    if (list == nullptr) {
        return;
    }
    VLIBCSzListClean(list);
    std::free(list->items);
    std::free(list);
}

int VLIBCSzListPush(VLIBSZLIST** list, const char* text) {
    if (list == nullptr || *list == nullptr || text == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return vlib::PushText(*list, text);
}

const char* VLIBCSzListGet(const VLIBSZLIST* list, int index) {
    return list != nullptr && index >= 0 && index < list->count ? list->items[index] : nullptr;
}

void VLIBCSzListClean(VLIBSZLIST* list) {
    if (list == nullptr) {
        return;
    }
    for (int i = 0; i < list->count; ++i) {
        std::free(list->items[i]);
    }
    list->count = 0;
}
}
