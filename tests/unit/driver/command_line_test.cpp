// The command-line parser and the combination checks, driven with argument
// lists: the settings they leave, or the exact message and status they stop with.
#include "driver/command_line.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "driver/messages.h"
#include "driver/process_state.h"
#include "driver/settings.h"
#include "isp/isp_chip.h"
#include "programming/cell_commands.h"

namespace {

const std::string hint = "For short help type\n\tzindle -h";

struct outcome {
  bool stopped = false;  // an app_error ended the parse
  int status = 0;
  std::string output;
};

class CommandLine : public ::testing::Test {
 protected:
  void SetUp() override { reset_process_state(); }
  void TearDown() override { reset_process_state(); }

  // Runs the parser (and optionally the combination check) on the arguments,
  // capturing everything reported.
  outcome run(const std::vector<std::string>& args, bool check = false) {
    reset_process_state();
    std::vector<char*> argv;
    argv.push_back(keep("zindle"));
    for (const auto& a : args) argv.push_back(keep(a));
    argv.push_back(nullptr);

    char* buffer = nullptr;
    size_t size = 0;
    FILE* capture = open_memstream(&buffer, &size);
    FILE* saved = msg_stream.stream;
    msg_stream.stream = capture;
    outcome result;
    try {
      parse_command_line(static_cast<int>(args.size() + 1), argv.data());
      if (check) check_combination();
    } catch (const app_error& e) {
      result.stopped = true;
      result.status = e.code;
    }
    msg_stream.stream = saved;
    fclose(capture);
    result.output.assign(buffer, size);
    free(buffer);
    return result;
  }

  // Settings point into the arguments, so these live as long as the test.
  char* keep(const std::string& s) {
    storage.push_back(s);
    return &storage.back()[0];
  }
  std::deque<std::string> storage;
};

std::string text(const char* s) { return s != nullptr ? s : "(none)"; }

// Every field of the run settings, so that a switch that also changes
// something it should not is caught.
void expect_same(const run_settings& want, const run_settings& got, const std::string& where) {
  EXPECT_EQ(text(want.requested_chip), text(got.requested_chip)) << where;
  EXPECT_EQ(text(want.code_file), text(got.code_file)) << where;
  EXPECT_EQ(text(want.data_file), text(got.data_file)) << where;
  EXPECT_EQ(want.split_code_file, got.split_code_file) << where;
  EXPECT_EQ(text(want.fuse_list_text), text(got.fuse_list_text)) << where;
  EXPECT_EQ(text(want.adapter_text), text(got.adapter_text)) << where;
  EXPECT_EQ(text(want.port_text), text(got.port_text)) << where;
  EXPECT_EQ(want.erase, got.erase) << where;
  EXPECT_EQ(want.eeprom_keep, got.eeprom_keep) << where;
  EXPECT_EQ(want.blank_mask, got.blank_mask) << where;
  EXPECT_EQ(want.read, got.read) << where;
  EXPECT_EQ(want.write_flags, got.write_flags) << where;
  EXPECT_EQ(want.verify, got.verify) << where;
  EXPECT_EQ(want.verify_all, got.verify_all) << where;
  EXPECT_EQ(want.lock_level, got.lock_level) << where;
  EXPECT_EQ(want.lock_first, got.lock_first) << where;
  EXPECT_EQ(want.use_erase_counter, got.use_erase_counter) << where;
  EXPECT_EQ(want.erase_counter_value, got.erase_counter_value) << where;
  EXPECT_EQ(want.force, got.force) << where;
  EXPECT_EQ(want.wait_key, got.wait_key) << where;
  EXPECT_EQ(want.wait_key_early, got.wait_key_early) << where;
  EXPECT_EQ(want.outputs_off_after, got.outputs_off_after) << where;
  EXPECT_EQ(want.power_from_data, got.power_from_data) << where;
  EXPECT_EQ(want.delay_multiplier, got.delay_multiplier) << where;
  EXPECT_EQ(want.clock_frequency, got.clock_frequency) << where;
  EXPECT_EQ(want.clock_is_sck, got.clock_is_sck) << where;
  EXPECT_EQ(want.xtal_divider, got.xtal_divider) << where;
}

std::string joined(const std::vector<std::string>& args) {
  std::string s;
  for (const auto& a : args) s += (s.empty() ? "" : " ") + a;
  return s;
}

struct accepted_case {
  std::vector<std::string> args;
  std::function<void(run_settings&)> expect;  // applied to the defaults
};

TEST_F(CommandLine, SwitchesSetExactlyTheirSettings) {
  const accepted_case cases[] = {
      {{"+tiny13"}, [](run_settings& s) { s.requested_chip = "tiny13"; }},
      {{"+ATtiny13"}, [](run_settings& s) { s.requested_chip = "tiny13"; }},
      {{"+attiny13a"}, [](run_settings& s) { s.requested_chip = "tiny13a"; }},
      {{"-ew"}, [](run_settings& s) { s.erase = true; s.write_flags = 1; }},
      {{"-e-"}, [](run_settings& s) { s.erase = true; s.eeprom_keep = true; }},
      {{"-E-V+R"}, [](run_settings& s) { s.erase = s.eeprom_keep = s.verify = s.verify_all = s.read = true; }},
      {{"-vr"}, [](run_settings& s) { s.verify = s.read = true; }},
      {{"-w+"}, [](run_settings& s) { s.write_flags = 3; }},
      {{"-wP+p"}, [](run_settings& s) { s.write_flags = 7; }},
      {{"-w+", "-w"}, [](run_settings& s) { s.write_flags = 1; }},
      {{"-b"}, [](run_settings& s) { s.blank_mask = 3; }},
      {{"-bc"}, [](run_settings& s) { s.blank_mask = 1; }},
      {{"-bD"}, [](run_settings& s) { s.blank_mask = 2; }},
      {{"-bcd"}, [](run_settings& s) { s.blank_mask = 3; }},
      {{"-bc", "-b"}, [](run_settings& s) { s.blank_mask = 1; }},
      {{"-l1"}, [](run_settings& s) { s.lock_level = '1'; }},
      {{"-l+2"}, [](run_settings& s) { s.lock_level = '2'; s.lock_first = true; }},
      {{"-l2e"}, [](run_settings& s) { s.lock_level = '2'; s.erase = true; }},
      {{"-kK"}, [](run_settings& s) { s.wait_key = s.wait_key_early = true; }},
      {{"-k"}, [](run_settings& s) { s.wait_key = true; }},
      {{"-1"}, [](run_settings& s) { s.delay_multiplier = 1.5f; }},
      {{"-52"}, [](run_settings& s) { s.delay_multiplier = 2; }},
      {{"-34"}, [](run_settings& s) { s.delay_multiplier = 4; }},
      {{"-!"}, [](run_settings& s) { s.force = true; }},
      {{"-", "-!"}, [](run_settings& s) { s.force = true; }},
      {{"-n"}, [](run_settings& s) { s.use_erase_counter = true; }},
      {{"-n65534"}, [](run_settings& s) { s.use_erase_counter = true; s.erase_counter_value = 65534; }},
      {{"-n12xyz"}, [](run_settings& s) { s.use_erase_counter = true; s.erase_counter_value = 12; }},
      {{"-o4MHz"}, [](run_settings& s) { s.clock_frequency = 4000000; }},
      {{"-o800"}, [](run_settings& s) { s.clock_frequency = 800000; }},
      {{"-o1kHz"}, [](run_settings& s) { s.clock_frequency = 1000; }},
      {{"-o40mhz"}, [](run_settings& s) { s.clock_frequency = 40000000; }},
      {{"-o3.6864MHz"}, [](run_settings& s) { s.clock_frequency = 3686400; }},
      {{"-o1000hz"}, [](run_settings& s) { s.clock_frequency = 1000; }},
      {{"-os2MHz"}, [](run_settings& s) { s.clock_frequency = 2000000; s.clock_is_sck = true; }},
      {{"-o0,4"}, [](run_settings& s) { s.clock_frequency = 0; s.xtal_divider = 4; }},
      {{"-o0"}, [](run_settings& s) { s.clock_frequency = 0; }},
      {{"-aBB"}, [](run_settings& s) { s.adapter_text = "BB"; }},
      {{"-am:SCK=~2"}, [](run_settings& s) { s.adapter_text = "m:SCK=~2"; }},
      {{"-az"}, [](run_settings& s) { s.outputs_off_after = true; }},
      {{"-aZjunk"}, [](run_settings& s) { s.outputs_off_after = true; }},
      {{"-ap"}, [](run_settings& s) { s.power_from_data = true; }},
      {{"-p/dev/parport0"}, [](run_settings& s) { s.port_text = "/dev/parport0"; }},
      {{"-fCKSEL=0,_HIGH=FF"}, [](run_settings& s) { s.fuse_list_text = "CKSEL=0,_HIGH=FF"; }},
      {{"a.hex"}, [](run_settings& s) { s.code_file = "a.hex"; }},
      {{"a.hex", "b.hex"}, [](run_settings& s) { s.code_file = "a.hex"; s.data_file = "b.hex"; s.split_code_file = false; }},
      {{"-ca.hex"}, [](run_settings& s) { s.code_file = "a.hex"; s.split_code_file = false; }},
      {{"-c", "a.hex", "b.hex"},
       [](run_settings& s) { s.code_file = "a.hex"; s.data_file = "b.hex"; s.split_code_file = false; }},
      {{"-d", "-x.hex", "c.hex"},
       [](run_settings& s) { s.data_file = "-x.hex"; s.code_file = "c.hex"; s.split_code_file = false; }},
      {{"-D", "+e.hex"}, [](run_settings& s) { s.data_file = "+e.hex"; s.split_code_file = false; }},
  };
  for (const auto& c : cases) {
    outcome got = run(c.args);
    ASSERT_FALSE(got.stopped) << joined(c.args) << ": " << got.output;
    EXPECT_EQ(got.output, "") << joined(c.args);
    run_settings want;
    c.expect(want);
    expect_same(want, settings, joined(c.args));
  }
}

TEST_F(CommandLine, DebugSwitchRaisesTheThresholdOnly) {
  EXPECT_FALSE(run({"-%"}).stopped);
  EXPECT_EQ(msg_stream.threshold, 4);
  expect_same(run_settings{}, settings, "-%");
  EXPECT_FALSE(run({"-%%"}).stopped);
  EXPECT_EQ(msg_stream.threshold, 4);
  reset_process_state();
  EXPECT_EQ(msg_stream.threshold, 2);
}

TEST_F(CommandLine, InactiveResetTimeTakesOnlyValuesInRange) {
  const struct {
    const char* arg;
    float expected;
  } cases[] = {{"-ai5", 5}, {"-ai1", 1}, {"-ai10000", 10000}, {"-ai0", 2}, {"-ai20000", 2}, {"-AI7", 7}};
  for (const auto& c : cases) {
    outcome got = run({c.arg});
    EXPECT_FALSE(got.stopped) << c.arg;
    EXPECT_EQ(got.output, "") << c.arg;
    EXPECT_EQ(isp_chip.reset_inactive_time, c.expected) << c.arg;
    EXPECT_EQ(settings.adapter_text, nullptr) << c.arg;
  }
}

struct refused_case {
  std::vector<std::string> args;
  std::string message;
};

TEST_F(CommandLine, RefusalsPrintTheirMessageAndStopWithStatus70) {
  const std::string two_code_files = "\tCan't use two files for CODE memory\na.hex\nb.hex\n";
  const refused_case cases[] = {
      {{"+"}, "Chip name required for '+'\n"},
      {{"+tiny99"}, "Unsupported device tiny99\n"},
      {{"+ATmega9999"}, "Unsupported device mega9999\n"},
      {{"-we"}, "Invalid value 'e' for switch w\n\n" + hint + "\n"},
      {{"-W+x"}, "Invalid value 'x' for switch W\n\n" + hint + "\n"},
      {{"-ew-p1"}, "Invalid value '-p1' for switch w\n\n" + hint + "\n"},
      {{"-bx"}, "Invalid value 'x' for switch b\n\n" + hint + "\n"},
      {{"-bcx"}, "Invalid value 'x' for switch b\n\n" + hint + "\n"},
      {{"-l"}, "Invalid value '' for switch l\n\n" + hint + "\n"},
      {{"-l3"}, "Invalid value '3' for switch l\n\n" + hint + "\n"},
      {{"-L+"}, "Invalid value '' for switch L\n\n" + hint + "\n"},
      {{"-l+x"}, "Invalid value 'x' for switch l\n\n" + hint + "\n"},
      {{"-o"}, "Invalid value '' for switch o\n\n" + hint + "\n"},
      {{"-oMHz"}, "Invalid value 'MHz' for switch o\n\n" + hint + "\n"},
      {{"-o4GHz"}, "Invalid value '4GHz' for switch o\n\n" + hint + "\n"},
      {{"-O0,33"}, "Invalid value '0,33' for switch O\n\n" + hint + "\n"},
      {{"-o0,0"}, "Invalid value '0,0' for switch o\n\n" + hint + "\n"},
      {{"-os0,x"}, "Invalid value 's0,x' for switch o\n\n" + hint + "\n"},
      {{"-o999Hz"}, "-o: OSC frequency must be 0 or from 1kHz to 40MHz\n"},
      {{"-o41MHz"}, "-o: OSC frequency must be 0 or from 1kHz to 40MHz\n"},
      {{"-o-4MHz"}, "-o: OSC frequency must be 0 or from 1kHz to 40MHz\n"},
      {{"-o4MHz,2"}, "-o: divider can be used only with -o0 form of the switch\n"},
      {{"-n0"}, "Invalid value '0' for switch n\n\n" + hint + "\n"},
      {{"-N65535"}, "Invalid value '65535' for switch N\n\n" + hint + "\n"},
      {{"-ai"}, "Value required for switch '-ai'\n"},
      {{"-aix"}, "Value required for switch '-ai'\n"},
      {{"-ar"}, "-ar switch not supported now, use adapter configuration file for inverted reset\n"},
      {{"-c"}, "File name required for -C\n"},
      {{"-d"}, "File name required for -D\n"},
      {{"a.hex", "-d"}, "File name required for -D\n"},
      {{"a.hex", "-c", "b.hex"}, two_code_files},
      {{"-ca.hex", "-cb.hex"}, two_code_files},
      {{"-da.hex", "-d", "b.hex"}, "\tCan't use two files for DATA memory\na.hex\nb.hex\n"},
      {{"a.hex", "b.hex", "c.hex"}, "Too many files\n"},
      {{"-fA=1", "-fB=0"}, "Only one -F switch can be used, place all fuses in one switch\n"},
      {{"-x"}, "Invalid switch x\n" + hint + "\n"},
      {{"-ej"}, "Invalid switch j\n" + hint + "\n"},
      {{"-5-2"}, "Invalid switch -\n" + hint + "\n"},
  };
  for (const auto& c : cases) {
    outcome got = run(c.args);
    EXPECT_TRUE(got.stopped) << joined(c.args);
    EXPECT_EQ(got.status, 70) << joined(c.args);
    EXPECT_EQ(got.output, c.message) << joined(c.args);
  }
}

TEST_F(CommandLine, FirstBadArgumentEndsTheParse) {
  outcome got = run({"-x", "+tiny99"});
  EXPECT_EQ(got.output, "Invalid switch x\n" + hint + "\n");
  got = run({"-ew", "-q", "-y"});
  EXPECT_EQ(got.output, "Invalid switch q\n" + hint + "\n");
  EXPECT_TRUE(settings.erase);  // what came before was taken
}

TEST_F(CommandLine, HelpStopsWithStatusZeroAndListsWhatIsKnownSoFar) {
  // +chip before -h: that chip's fuse list (the tiny13 signature is 1E 90 07).
  outcome chip = run({"+tiny13", "-h", "-x"});
  EXPECT_TRUE(chip.stopped);
  EXPECT_EQ(chip.status, 0);
  EXPECT_NE(chip.output.find("signature 1E9007\n"), std::string::npos) << chip.output;
  EXPECT_EQ(chip.output.find("Supported devices"), std::string::npos);

  // -h before the chip: the general help with the device list.
  for (const char* h : {"-h", "-?", "-H", "-e?"}) {
    outcome general = run({h, "+tiny13"});
    EXPECT_TRUE(general.stopped) << h;
    EXPECT_EQ(general.status, 0) << h;
    EXPECT_NE(general.output.find("\nSupported devices"), std::string::npos) << h;
    EXPECT_EQ(general.output.find("signature"), std::string::npos) << h;
  }
}

TEST_F(CommandLine, CombinationChecksInTheirOrder) {
  const refused_case cases[] = {
      {{"-ew", "a.hex"}, "Chip name must be specified\n"},
      {{"-p/dev/parport0"}, "Chip name must be specified\n"},
      {{"+tiny13", "-r"}, "Can't read without target files\n"},
      {{"+tiny13", "-rw", "a.hex"}, "Can't both read and write or verify\n"},
      {{"+tiny13", "-vr"}, "Can't both read and write or verify\n"},
      {{"+tiny13", "-r", "a.hex", "-f_LOW=6A"}, "Nothing to do with fuses, -w or -v must be specified\n"},
      {{"+tiny13", "-w"}, "Can't write/verify without source files or fuse list\n"},
      {{"+tiny13", "-v+"}, "Can't write/verify without source files or fuse list\n"},
      {{"+tiny13", "a.hex"}, "Nothing to do with files, -r or -w or -v must be specified\n"},
      {{"+tiny13", "-e", "-da.eep"}, "Nothing to do with files, -r or -w or -v must be specified\n"},
      {{"+tiny13", "-f_LOW=6A"}, "Nothing to do with fuses, -w or -v must be specified\n"},
  };
  for (const auto& c : cases) {
    outcome got = run(c.args, true);
    EXPECT_TRUE(got.stopped) << joined(c.args);
    EXPECT_EQ(got.status, 70) << joined(c.args);
    EXPECT_EQ(got.output, c.message) << joined(c.args);
  }

  const std::vector<std::string> valid[] = {
      {"+tiny13"},                         // identification only
      {"+tiny13", "-e"},                   // erase only
      {"+tiny13", "-b"},                   // blank check only
      {"+tiny13", "-ew", "a.hex"},         //
      {"+tiny13", "-v", "-da.eep"},        //
      {"+tiny13", "-w", "-f_LOW=6A"},      // fuses only
      {"+tiny13", "-r", "a.hex", "b.eep"}, //
      {"-p?"},                             // FTDI device listing needs no chip
  };
  for (const auto& args : valid) {
    outcome got = run(args, true);
    EXPECT_FALSE(got.stopped) << joined(args) << ": " << got.output;
  }
}

TEST_F(CommandLine, SpecialDataCommandsAreParsed) {
  ASSERT_FALSE(run({"-c*OSCCAL1=1FFE,-3", "-d*SERNO4=7fc,serial.txt", "-c?bytes3=200,A1b2C3"}).stopped);
  const auto& osccal = special_commands.osccal;
  EXPECT_EQ(osccal.mode, cell_code);
  EXPECT_EQ(osccal.index, 1);
  EXPECT_EQ(osccal.address, 0x1FFEu);
  EXPECT_EQ(osccal.correction, -3);
  const auto& serno = special_commands.serno;
  EXPECT_EQ(serno.mode, cell_data);
  EXPECT_EQ(serno.length, 4);
  EXPECT_EQ(serno.address, 0x7FCu);
  EXPECT_EQ(serno.file, "serial.txt");
  const auto& bytes = special_commands.bytes;
  EXPECT_EQ(bytes.mode, cell_code_ldi);
  EXPECT_EQ(bytes.count, 3);
  EXPECT_EQ(bytes.address, 0x200u);
  EXPECT_EQ(bytes.data, (std::vector<uint8_t>{0xA1, 0xB2, 0xC3}));
  // A special command is not a file name.
  EXPECT_EQ(settings.code_file, nullptr);
  EXPECT_EQ(settings.data_file, nullptr);
  EXPECT_TRUE(settings.split_code_file);

  ASSERT_FALSE(run({"-C?OSCCAL=100"}).stopped);
  EXPECT_EQ(special_commands.osccal.mode, cell_code_ldi);
  EXPECT_EQ(special_commands.osccal.index, 0);
  EXPECT_EQ(special_commands.osccal.address, 0x100u);
  EXPECT_EQ(special_commands.osccal.correction, 0);
  EXPECT_EQ(special_commands.serno.mode, cell_none);
  EXPECT_EQ(special_commands.bytes.mode, cell_none);

  // A later BYTES replaces an earlier one; the SERNO length is checked only when it is used.
  ASSERT_FALSE(run({"-c*BYTES2=10,0102", "-d*BYTES1=20,FF", "-c*SERNO5=7FC,f"}).stopped);
  EXPECT_EQ(special_commands.bytes.mode, cell_data);
  EXPECT_EQ(special_commands.bytes.address, 0x20u);
  EXPECT_EQ(special_commands.bytes.data, std::vector<uint8_t>{0xFF});
  EXPECT_EQ(special_commands.serno.length, 5);
}

TEST_F(CommandLine, SpecialDataCommandRefusals) {
  auto extension = [](const std::string& t) { return "Invalid HEX file switch extension '-" + t + "'\n"; };
  const std::string twice = "Can't handle two specail code/data commands of one type\n";
  const refused_case cases[] = {
      {{"-d?SERNO2=10,f"}, extension("d?SERNO2=10,f")},
      {{"-c*"}, extension("c*")},
      {{"-c*OSCCAL"}, extension("c*OSCCAL")},
      {{"-c*OSCCAL1"}, extension("c*OSCCAL1")},
      {{"-c*OSCCAL=xyz"}, extension("c*OSCCAL=xyz")},
      {{"-c*OSCCAL=FFFFFFFF"}, extension("c*OSCCAL=FFFFFFFF")},
      {{"-c*OSCCAL=100000000"}, extension("c*OSCCAL=100000000")},
      {{"-c*OSCCAL=100,abc"}, extension("c*OSCCAL")},
      {{"-c*OSCCAL2=100,x"}, extension("c*OSCCAL")},
      {{"-c*SERNO4=7FC"}, extension("c*SERNO")},
      {{"-c*SERNO4=7FC,"}, extension("c*SERNO")},
      {{"-c*BYTES3=200,A1B2"}, extension("c*BYTES")},
      {{"-c*BYTES3=200"}, extension("c*BYTES")},
      {{"-c*BYTES2=200,A1BG"}, extension("c*BYTES")},
      {{"-c*BYTES1=200,A1B2"}, extension("c*BYTES")},
      {{"-d*WORD2=10,1234"}, extension("d*WORD")},
      {{"-c*OSCCAL=10", "-d*OSCCAL1=20"}, twice},
      {{"-c*SERNO2=10,a", "-c?SERNO2=20,b"}, twice},
  };
  for (const auto& c : cases) {
    outcome got = run(c.args);
    EXPECT_TRUE(got.stopped) << joined(c.args);
    EXPECT_EQ(got.status, 70) << joined(c.args);
    EXPECT_EQ(got.output, c.message) << joined(c.args);
  }
}

}  // namespace
