// libFuzzer target: any file content handed to hex_read ends in a result or a reported app_error, never in a
// crash, a leak or undefined behaviour; a completed read leaves blocks of 1 to 4096 bytes sorted by address.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "driver/messages.h"
#include "image/hex_file.h"
#include "image/mem_image.h"

static std::string input_path;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The checksum question meets the end of input; messages go nowhere.
  if (freopen("/dev/null", "r", stdin) == nullptr) return 1;
  msg_stream.stream = fopen("/dev/null", "w");
  input_path = std::string(P_tmpdir) + "/zindle-hex-fuzz-" + std::to_string(getpid()) + ".hex";
  atexit([] { remove(input_path.c_str()); });
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FILE* file = fopen(input_path.c_str(), "wb");
  if (file == nullptr) return 0;
  fwrite(data, 1, size, file);
  fclose(file);
  mem_image image;
  try {
    hex_read(image, input_path.c_str());
  } catch (const app_error&) {
    return 0;
  }
  for (const data_block* b = image.first(); b != nullptr; b = image.next(b)) {
    const data_block* n = image.next(b);
    if (b->size < 1 || b->size > 4096 ||
        (n != nullptr && (n->address < b->address || (n->address == b->address && n->end() < b->end()))))
      __builtin_trap();
  }
  return 0;
}
