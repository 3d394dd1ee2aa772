#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <utility>

namespace vexonetwork::network::module {

/// Interface names on their way from the threads that post them to the one that takes them. No
/// lock is taken: a list whose head is swapped.
class ResetRequests {
  public:
    ResetRequests() = default;
    ~ResetRequests() {
        Take([](const std::string&) {});
    }
    ResetRequests(const ResetRequests&) = delete;
    ResetRequests& operator=(const ResetRequests&) = delete;

    void Post(std::string ifname) {
        auto* request = new Request{std::move(ifname), newest.load(std::memory_order_relaxed)};
        while (!newest.compare_exchange_weak(request->next, request, std::memory_order_release,
                                             std::memory_order_relaxed)) {
        }
    }

    template <typename Handler>
    void Take(const Handler& handle) {
        std::unique_ptr<Request> request(newest.exchange(nullptr, std::memory_order_acquire));
        while (request) {
            handle(request->ifname);
            request.reset(request->next);
        }
    }

  private:
    struct Request {
        std::string ifname;
        Request* next;
    };

    std::atomic<Request*> newest = nullptr;
};

}  // namespace vexonetwork::network::module
