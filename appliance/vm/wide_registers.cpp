// User-mode Linux hands its processes' floating-point registers to ptrace(2) in an area that has no
// room for the tile registers of newer processors. The host's kernel takes only the whole area, so
// no process of the guest would start. Preloaded into the kernel of the guest, this passes the part
// that it knows and leaves the rest, which no program uses that has not asked for it, as it is.
#include <dlfcn.h>
#include <elf.h>
#include <sys/ptrace.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstring>

namespace {

using Ptrace = long (*)(int request, int pid, void* address, void* data);

long HostPtrace(int request, int pid, void* address, void* data) {
    static const auto call = reinterpret_cast<Ptrace>(::dlsym(RTLD_NEXT, "ptrace"));
    return call(request, pid, address, data);
}

/// Room for all registers of a processor; the largest take 11 KiB.
alignas(64) std::array<std::byte, 65536> whole;

long Transfer(int request, int pid, void* note, iovec& part) {
    iovec all{whole.data(), whole.size()};
    if (const long result = HostPtrace(PTRACE_GETREGSET, pid, note, &all); result != 0) {
        return result;
    }
    part.iov_len = std::min(part.iov_len, all.iov_len);
    if (request == PTRACE_GETREGSET) {
        std::memcpy(part.iov_base, whole.data(), part.iov_len);
        return 0;
    }
    std::memcpy(whole.data(), part.iov_base, part.iov_len);
    return HostPtrace(PTRACE_SETREGSET, pid, note, &all);
}

}  // namespace

extern "C" long ptrace(__ptrace_request request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    const int pid = va_arg(arguments, int);
    void* const address = va_arg(arguments, void*);
    void* const data = va_arg(arguments, void*);
    va_end(arguments);
    const bool isWide = (request == PTRACE_GETREGSET || request == PTRACE_SETREGSET)
                        && reinterpret_cast<std::size_t>(address) == NT_X86_XSTATE;
    return isWide ? Transfer(request, pid, address, *static_cast<iovec*>(data))
                  : HostPtrace(request, pid, address, data);
}
