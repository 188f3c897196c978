// Builds against an installed orvel and exercises one call of each kind.
#include <cstdio>

#include "orvel/orvel.h"

int main() {
  orvel::OvMatrix m;
  m.m[2] = 5;
  orvel::OvOpList list;
  orvel::OvOp* op = list.allocOp(9, 4);
  orvel::OvPoint p = m.mapXY(1, 2);
  std::printf("consumer: point (%g, %g), %u bytes recorded\n", p.x, p.y, list.totalUsedSize());
  return (op && p.x == 6 && list.totalUsedSize() == 4) ? 0 : 1;
}
