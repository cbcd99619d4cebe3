#include "Pomel/String.h"

#include <cstring>
#include <limits>
#include <new>
#include <ostream>
#include <stdexcept>

namespace Pomel {

bool threadSafePtrs = false;

String::String(std::string_view text) {
  if (text.empty()) {
    return;
  }
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("Pomel::String: longer than 2^32 - 1 octets");
  }
  void* memory = ::operator new(sizeof(Rep) + text.size() + 1);
  rep_ = new (memory) Rep{{}, static_cast<std::uint32_t>(text.size())};
  rep_->refs.inc();
  std::memcpy(rep_->bytes(), text.data(), text.size());
  rep_->bytes()[text.size()] = '\0';
}

void String::free(Rep* rep) noexcept {
  rep->~Rep();
  ::operator delete(rep);
}

std::ostream& operator<<(std::ostream& out, const String& text) { return out << text.view(); }

}  // namespace Pomel
