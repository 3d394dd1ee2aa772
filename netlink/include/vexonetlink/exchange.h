#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <vexonetlink/message.h>
#include <vexonetlink/request.h>
#include <vexonetlink/socket.h>

namespace vexonetlink {

/// What the kernel says at the end of an answer.
struct KernelError {
    int number = 0;    ///< errno; 0 for none
    std::string text;  ///< the kernel's own words (NLMSGERR_ATTR_MSG), else those of the number

    explicit operator bool() const { return number != 0; }
    bool operator==(const KernelError&) const = default;
};

/// The one reader of errors: of an acknowledgement or refusal (NLMSG_ERROR) and of the end of a
/// dump (NLMSG_DONE). The kernel sends -errno: 0 and what is positive is no error.
/// @return nothing for other messages; EBADMSG for one that is too short
std::optional<KernelError> ReadError(const Message& message);

/// Leaves the number in errno. @return 0, or -1 for an error
[[nodiscard]] int ToStatus(const KernelError& error);

using Visit = std::function<void(const Message&)>;

/// Sends a request, hands each answer to `visit` and waits for the acknowledgement, or for the end
/// of the dump when the request has NLM_F_DUMP.
/// @return EINTR when what was dumped has changed meanwhile (NLM_F_DUMP_INTR)
[[nodiscard]] KernelError Exchange(Socket& socket, Request& request, const Visit& visit = {});

/// Dumps once more, a few times, while what is dumped changes under way: such a dump may lack what
/// was there all the time. `begin` is called before each time.
[[nodiscard]] KernelError Dump(Socket& socket, Request& request, const std::function<void()>& begin,
                               const Visit& visit);

/// The values of all messages of a dump for which `read` gives one, in the kernel's order.
/// @return nothing, with errno, when the kernel does not tell all
template <typename Value, typename Read>
std::optional<std::vector<Value>> DumpValues(Socket& socket, Request& request, const Read& read) {
    std::vector<Value> values;
    const KernelError error = Dump(
        socket, request, [&values] { values.clear(); },
        [&values, &read](const Message& message) {
            if (std::optional<Value> value = read(message)) {
                values.push_back(std::move(*value));
            }
        });
    return ToStatus(error) == 0 ? std::optional(std::move(values)) : std::nullopt;
}

/// Asks over a socket of its own: what `ask` makes of it, or nothing with errno.
template <typename Ask>
auto AskOnce(const Ask& ask) -> decltype(ask(std::declval<Socket&>())) {
    auto socket = Socket::Open();
    return socket ? ask(*socket) : std::nullopt;
}

/// Makes one change over a socket of its own. @return 0, or -1 with errno
[[nodiscard]] int ChangeOnce(Request request);

/// A change that the kernel did not make.
struct Refusal {
    std::size_t change = 0;  ///< its number, from 0 in the order of Add()
    KernelError error;

    bool operator==(const Refusal&) const = default;
};

/// Makes changes in their order, many in one go; one that is refused keeps none of the others.
class Batch {
  public:
    explicit Batch(Socket& kernel) : socket(kernel) {}

    void Add(Request request);

    /// Sends what waits. @return what the kernel has refused since the beginning
    std::vector<Refusal> Finish();

  private:
    void Flush();
    void Await(std::uint32_t firstSequence);
    void RefuseAll(std::size_t first, const KernelError& error);

    Socket& socket;
    std::vector<Request> waiting;
    std::size_t waitingBytes = 0;
    std::size_t done = 0;
    std::vector<Refusal> refusals;
};

}  // namespace vexonetlink
