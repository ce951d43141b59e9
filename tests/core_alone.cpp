// The whole core, linked with nothing but what it may know: that it links is the proof.
#include "platform/Uuid.h"

int main() {
  return quorvex::randomUuid().size() == 36 ? 0 : 1;
}
