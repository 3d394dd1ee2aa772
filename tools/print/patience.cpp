#include "print/patience.h"

#include <unistd.h>

#include <chrono>
#include <iostream>

namespace vexonetctl {

Patience::Patience(const std::string& text) {
    if (::isatty(STDERR_FILENO) == 0) {
        return;
    }
    thread = std::thread([this, text] {
        constexpr char kEraseLine[] = "\r\033[K";
        std::unique_lock lock(mutex);
        const auto isOver = [this] { return over; };
        if (!change.wait_for(lock, std::chrono::seconds(1), isOver)) {
            std::cerr << text << std::flush;
            change.wait(lock, isOver);
            std::cerr << kEraseLine << std::flush;
        }
    });
}

Patience::~Patience() {
    if (thread.joinable()) {
        {
            const std::lock_guard lock(mutex);
            over = true;
        }
        change.notify_one();
        thread.join();
    }
}

}  // namespace vexonetctl
