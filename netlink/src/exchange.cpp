#include "vexonetlink/exchange.h"

#include <string.h>

namespace vexonetlink {
namespace {

constexpr int kMaxErrorNumber = 4095;
constexpr int kMaxDumps = 16;

// The kernel takes a whole datagram before it answers, so what it says of one go must fit into the
// socket's buffer.
constexpr std::size_t kMaxBatchBytes = 32768;
constexpr std::size_t kMaxBatchSize = 128;

KernelError ErrorOf(int number) {
    return number == 0 ? KernelError() : KernelError{number, ::strerror(number)};
}

/// What is wrong when no message has come.
int NumberOf(Arrival arrival) {
    switch (arrival) {
        case Arrival::kMessages:
            return 0;
        case Arrival::kTruncated:
            return EMSGSIZE;
        case Arrival::kOverrun:
            return ENOBUFS;
        case Arrival::kEmpty:
            return ETIMEDOUT;
        case Arrival::kFailed:
            break;
    }
    return errno;
}

/// The attributes behind the number: those of an error stand behind the header of the request it
/// is about, and behind the whole request when the socket could not ask for less.
Attributes AttributesOfError(const Message& message) {
    const auto refused = FixedHeader<nlmsgerr>(message);
    if ((message.flags & NLM_F_ACK_TLVS) == 0) {
        return Attributes();
    }
    if (message.type == NLMSG_DONE || !refused) {
        return AttributesBehind<int>(message);
    }
    const bool isCapped = (message.flags & NLM_F_CAPPED) != 0;
    return Attributes(
        BytesFrom(message.payload,
                  isCapped ? sizeof *refused : sizeof refused->error + refused->msg.nlmsg_len));
}

/// Visits the messages that answer a request until `visit` says that the last one was there.
template <typename VisitAnswer>
KernelError Receive(Socket& socket, const VisitAnswer& visit) {
    for (;;) {
        Datagram datagram = socket.Receive();
        if (const int number = NumberOf(datagram.arrival); number != 0) {
            return ErrorOf(number);
        }
        while (const auto message = datagram.messages.Next()) {
            if (message->port == socket.Port() && visit(*message)) {
                return {};
            }
        }
    }
}

}  // namespace

std::optional<KernelError> ReadError(const Message& message) {
    if (message.type != NLMSG_ERROR && message.type != NLMSG_DONE) {
        return std::nullopt;
    }
    const auto number = FixedHeader<int>(message);
    if (!number || *number < -kMaxErrorNumber) {
        return ErrorOf(EBADMSG);
    }
    KernelError error = ErrorOf(*number < 0 ? -*number : 0);
    for (Attributes attributes = AttributesOfError(message);
         const auto attribute = attributes.Next();) {
        if (attribute->type == NLMSGERR_ATTR_MSG && error) {
            error.text = ToText(attribute->payload);
        }
    }
    return error;
}

int ToStatus(const KernelError& error) {
    if (error) {
        errno = error.number;
    }
    return error ? -1 : 0;
}

KernelError Exchange(Socket& socket, Request& request, const Visit& visit) {
    const std::uint32_t sequence = socket.NextSequence();
    request.SetSequence(sequence);
    request.AddFlags(NLM_F_ACK);
    if (socket.Send(request.Message()) != 0) {
        return ErrorOf(errno);
    }
    bool hasChanged = false;
    KernelError end;
    const KernelError failure = Receive(socket, [&](const Message& message) {
        if (message.sequence != sequence) {
            return false;
        }
        hasChanged = hasChanged || (message.flags & NLM_F_DUMP_INTR) != 0;
        if (auto error = ReadError(message)) {
            end = std::move(*error);
            return true;
        }
        if (visit) {
            visit(message);
        }
        return false;
    });
    return failure ? failure : end ? end : ErrorOf(hasChanged ? EINTR : 0);
}

KernelError Dump(Socket& socket, Request& request, const std::function<void()>& begin,
                 const Visit& visit) {
    request.AddFlags(NLM_F_DUMP);
    KernelError error;
    for (int attempt = 0; attempt < kMaxDumps; ++attempt) {
        begin();
        error = Exchange(socket, request, visit);
        if (error.number != EINTR) {
            break;
        }
    }
    return error;
}

int ChangeOnce(Request request) {
    auto socket = Socket::Open();
    return socket ? ToStatus(Exchange(*socket, request)) : -1;
}

void Batch::Add(Request request) {
    const std::size_t size = request.Message().size();
    if (waiting.size() == kMaxBatchSize || waitingBytes + size > kMaxBatchBytes) {
        Flush();
    }
    waitingBytes += size;
    waiting.push_back(std::move(request));
}

std::vector<Refusal> Batch::Finish() {
    Flush();
    return std::exchange(refusals, {});
}

/// Only the last one asks for an answer: the kernel goes through them in their order, and tells of
/// what it refuses without being asked.
void Batch::Flush() {
    if (waiting.empty()) {
        return;
    }
    std::vector<std::byte> datagram;
    datagram.reserve(waitingBytes);
    waiting.back().AddFlags(NLM_F_ACK);
    std::uint32_t firstSequence = 0;
    for (Request& request : waiting) {
        const std::uint32_t sequence = socket.NextSequence();
        firstSequence = firstSequence == 0 ? sequence : firstSequence;
        request.SetSequence(sequence);
        const Bytes message = request.Message();
        datagram.insert(datagram.end(), message.begin(), message.end());
    }
    if (socket.Send(datagram) == 0) {
        Await(firstSequence);
    } else {
        RefuseAll(done, ErrorOf(errno));
    }
    done += waiting.size();
    waiting.clear();
    waitingBytes = 0;
}

void Batch::Await(std::uint32_t firstSequence) {
    std::size_t next = 0;
    const KernelError failure = Receive(socket, [&](const Message& message) {
        const std::uint32_t index = message.sequence - firstSequence;
        const auto error = ReadError(message);
        if (!error || index >= waiting.size()) {
            return false;
        }
        if (*error) {
            refusals.push_back({done + index, *error});
        }
        next = index + 1;
        return next == waiting.size();
    });
    if (failure) {
        RefuseAll(done + next, failure);
    }
}

/// What is not known to be made counts as refused.
void Batch::RefuseAll(std::size_t first, const KernelError& error) {
    for (std::size_t change = first; change < done + waiting.size(); ++change) {
        refusals.push_back({change, error});
    }
}

}  // namespace vexonetlink
