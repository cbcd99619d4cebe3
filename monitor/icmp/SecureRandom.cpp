#include "monitor/icmp/SecureRandom.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Monitor::Icmp {

std::uint64_t SecureRandom::operator()() {
  if (used_ == numbers_.size()) {
    if (::getentropy(numbers_.data(), sizeof numbers_) != 0) {
      throw std::system_error(errno, std::generic_category(), "getentropy");
    }
    used_ = 0;
  }
  return numbers_[used_++];
}

}  // namespace Monitor::Icmp
