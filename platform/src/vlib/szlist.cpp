#include "vlib/szlist.h"

#include <cstdlib>

#include "growing.h"
#include "owned_text.h"
#include "szlist_text.h"
#include "vlib/error.h"

namespace vlib {

int PushText(VLIBSZLIST* list, std::string_view text) {
    char* const copy = CopyText(text);
    if (copy == nullptr || !MakeRoom(list, &VLIBSZLIST::items)) {
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
    return vlib::AllocContainer(capacity, &VLIBSZLIST::items);
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
