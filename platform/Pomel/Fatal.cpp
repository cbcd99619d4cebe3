#include "Pomel/Fatal.h"

#include <cstdlib>
#include <iostream>

namespace Pomel {

void fatal(std::string_view message) {
  std::cerr << message << std::endl;
  std::abort();
}

void assertionFailed(std::string_view expression) {
  std::cerr << "assertion \"" << expression << "\" failed" << std::endl;
  std::abort();
}

}  // namespace Pomel
