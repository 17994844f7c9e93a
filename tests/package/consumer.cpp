#include <iostream>

#include "platform/orb/Text.h"

int main() {
  Orb::U32 seqno = 0;
  Orb::fromText(seqno, "10");
  std::cout << "seq " << Orb::toText(seqno) << '\n';
}
