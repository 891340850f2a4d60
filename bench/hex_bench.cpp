// Speed of the Intel HEX reader and writer on a 256 KiB image (the largest
// FLASH of the supported chips), in bytes of image data per second.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "driver/messages.h"
#include "image/hex_file.h"
#include "image/mem_image.h"

namespace {

constexpr int32_t image_bytes = 256 * 1024;

void fill_256k(mem_image& image) {
  std::mt19937 random(42);
  std::vector<uint8_t> bytes(4096);
  for (int32_t at = 0; at < image_bytes; at += 4096) {
    for (auto& b : bytes) b = static_cast<uint8_t>(random());
    image.append(new data_block(at, 4096, bytes.data()));
  }
}

std::string scratch_file(const char* name) {
  return std::string(P_tmpdir) + "/zindle-bench-" + std::to_string(getpid()) + "-" + name;
}

void hex_write_256k(benchmark::State& state) {
  mem_image image;
  fill_256k(image);
  const std::string path = scratch_file("write.hex");
  for (auto _ : state) hex_write(image, path.c_str());
  state.SetBytesProcessed(state.iterations() * image_bytes);
  remove(path.c_str());
}
BENCHMARK(hex_write_256k)->Unit(benchmark::kMillisecond);

void hex_read_256k(benchmark::State& state) {
  const std::string path = scratch_file("read.hex");
  {
    mem_image image;
    fill_256k(image);
    hex_write(image, path.c_str());
  }
  for (auto _ : state) {
    mem_image image;
    hex_read(image, path.c_str());
    benchmark::DoNotOptimize(image.last());
  }
  state.SetBytesProcessed(state.iterations() * image_bytes);
  remove(path.c_str());
}
BENCHMARK(hex_read_256k)->Unit(benchmark::kMillisecond);

}  // namespace
