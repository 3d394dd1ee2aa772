// A program that looks somebody up who does not answer for 500 ms.

#include <chrono>
#include <thread>

int main() {
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
}
