#pragma once

#include <sys/types.h>

#include <cstdio>
#include <memory>

#include <vlib/exec.h>

namespace vexonetwork::network {

/// Ends a program that the platform has started on a pipe: kills it, with its process group where
/// it leads one, and takes its end. It may hang with its output closed, or go on for as long as
/// someone listens.
struct EndProgram {
    pid_t pid = -1;  ///< -1 when it is not known; then the program's own end is waited for

    void operator()(FILE* stream) const;
};
using PipedProgram = std::unique_ptr<FILE, EndProgram>;

/// The child that this thread has started last and not taken the end of; -1 when there is none.
pid_t NewestChild();

/// @param stream  of VLIBCPopen, or null
/// @param before  what NewestChild answered before the program was started, on the same thread
PipedProgram Piped(FILE* stream, pid_t before);

/// Starts a program whose output is read.
/// @param words  its arguments, all texts
/// @return null when it cannot start
template <typename... Words>
PipedProgram StartProgram(const char* path, const Words*... words) {
    const pid_t before = NewestChild();
    return Piped(VLIBCPopen(path, "r", words..., static_cast<const char*>(nullptr)), before);
}

}  // namespace vexonetwork::network
