// The containers of the common library beside their peers.
#include "containers.h"

int main(int argc, char** argv) {
  if (side_by_side::growth_asked(argc, argv)) {
    tree_growth();
    stack_growth();
    return 0;
  }
  stack_bench();
  bits_bench();
  tree_bench();
  return 0;
}
