#include "vlib/error.h"

namespace {

struct LastError {
    int code = 0;
    const char* file = "";
    int line = 0;
};

thread_local LastError lastError;

}  // namespace

extern "C" {

void VLIBCErrSetEx(int code, const char* file, int line) {
    lastError = {code, file, line};
}

int VLIBCErrGet(void) {
    return lastError.code;
}

const char* VLIBCErrFile(void) {
    return lastError.file;
}

int VLIBCErrLine(void) {
    return lastError.line;
}
}
