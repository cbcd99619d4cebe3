// far_end COMMAND [ARGUMENT...]
//
// Runs the command, as this very process, where 10.0.0.0/8 answers echo requests (FarEnd.h).
#include <unistd.h>

#include <cstdio>
#include <exception>

#include "bench/FarEnd.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: far_end COMMAND [ARGUMENT...]\n");
    return 2;
  }
  try {
    const FarEnd farEnd;  // ends with this process, whatever program it runs
    execvp(argv[1], argv + 1);
    std::perror(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "far_end: %s\n", error.what());
  }
  return 1;
}
