#pragma once
// A file descriptor that is closed with its owner.

#include <utility>

#include <unistd.h>

namespace orvel {

class Descriptor {
  public:
    Descriptor() = default;
    /// Takes over an open descriptor; a negative number is none.
    explicit Descriptor(int number) : number(number) {}
    Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    ~Descriptor() { close(); }

    int get() const { return number; }
    explicit operator bool() const { return number >= 0; }

    void close() {
        if (number >= 0) ::close(std::exchange(number, -1));
    }

  private:
    int number = -1;
};

} // namespace orvel
