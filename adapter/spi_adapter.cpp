#include "adapter/spi_adapter.h"

#include "driver/process_state.h"

adapter_holder current_adapter;
const process_state_reset reset_current_adapter{[] { current_adapter.reset(); }};

spi_adapter::~spi_adapter() = default;

void spi_adapter::release() {}

void spi_adapter::write(uint8_t out) { transfer(out); }

uint8_t spi_adapter::read() { return transfer(0x00); }

void spi_adapter::transfer_block(const uint8_t* out, uint8_t* in, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) in[i] = transfer(out[i]);
}

void spi_adapter::write_block(const uint8_t* out, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) write(out[i]);
}

void spi_adapter::read_block(uint8_t* in, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) in[i] = read();
}

void adapter_holder::replace(std::unique_ptr<spi_adapter> fresh) {
  held = std::move(fresh);  // the new one is complete before the old one is destroyed
}
