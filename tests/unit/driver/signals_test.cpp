// Termination signals stop chip access at the next instruction boundary with status 80; the adapter key.
#include <gtest/gtest.h>

#include <csignal>

#include "driver/adapter_key.h"
#include "driver/settings.h"
#include "driver/signals.h"
#include "isp/isp_chip.h"
#include "isp/memory_read.h"
#include "isp/memory_write.h"
#include "isp/write_wait.h"
#include "tests/support/status_of.h"
#include "tests/support/chip_bench.h"

namespace {

using isp_test::adapter_options;
using isp_test::chip_bench;

TEST(Signals, SigintDuringByteModeReadStopsAtTheNextInstruction) {
  adapter_options ao;
  ao.block = false;
  chip_bench b("mega8", "mega8", ao);
  b.start();
  check_terminated();  // the run's first check installs the handlers
  const uint64_t raise_at = b.adapter->bytes + 4 * 100 + 2;  // in the middle of the 101st read
  b.adapter->on_byte = [&] {
    if (b.adapter->bytes == raise_at) raise(SIGINT);
  };
  std::vector<uint8_t> buf(4096);
  EXPECT_EQ(status_of([&] { read_flash(buf.data(), 0, 4096); }), 80);
  EXPECT_EQ(b.output(), "\nTerminated by user (SIGINT)\n\n");
  EXPECT_EQ(b.framed().size(), 101u) << "the read under way is completed, no further one starts";
  EXPECT_EQ(status_of(check_terminated), -1) << "the signal is handled once";
}

// A chip kept busy far beyond the poll's timeout: a signal during the first
// poll instruction stops the run right after it, not at the timeout.
TEST(Signals, SigintDuringAWritePollStopsAfterThatPoll) {
  const struct {
    const char* chip;
    uint8_t poll;  // RDY/BSY on tiny13, data polling with EEPROM reads on mega8
  } cases[] = {{"tiny13", 0xF0}, {"mega8", 0xA0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.chip);
    vt::chip_options busy;
    busy.busy_extra_ms = 60000;
    chip_bench b(c.chip, c.chip, {}, busy);
    b.start();
    check_terminated();
    settings.write_flags = write_flag_write | write_flag_polling;
    isp_chip.memory = 1;
    setup_polling(1);
    const uint64_t raise_at = b.adapter->bytes + 4 + 2;  // inside the instruction after the write
    b.adapter->on_byte = [&] {
      if (b.adapter->bytes == raise_at) raise(SIGINT);
    };
    b.clear_output();
    b.clear_trace();
    EXPECT_EQ(status_of([] { write_cell(0, 0x12); }), 80);
    EXPECT_EQ(b.output(), "\nTerminated by user (SIGINT)\n\n");
    EXPECT_EQ(b.framed(c.poll).size(), 1u) << "the poll under way is completed, no further one starts";
  }
}

TEST(AdapterKey, HeldKeyMustBeReleasedAndSamplesDebounced) {
  adapter_options ao;
  ao.key = true;
  chip_bench b("mega8", "mega8", ao);
  // A key held from before must be released and pressed again.
  b.adapter->key_samples = {true, true, true, false, false, false, true, true, true};
  EXPECT_EQ(status_of(wait_adapter_key), -1);
  EXPECT_EQ(b.adapter->key_samples.size(), 1u) << "every sample was needed";
  EXPECT_EQ(b.output(), "Press ADAPTER KEY for continue.\nStart programming...\n");
  // Three equal samples in a row decide; chatter in between does not.
  b.adapter->key_samples = {false, true, false, true, false, false, false, true};
  EXPECT_FALSE(read_key_stable());
  EXPECT_EQ(b.adapter->key_samples.size(), 1u) << "all but the last sample used";
  b.adapter->key_samples = {true, true, false, true, true, true, false};
  EXPECT_TRUE(read_key_stable());
  EXPECT_EQ(b.adapter->key_samples.size(), 1u);
}

}  // namespace
