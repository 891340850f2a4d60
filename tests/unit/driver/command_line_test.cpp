// The command line: the settings each argument list leaves, or the message and status it stops with.
#include "driver/command_line.h"

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "driver/process_state.h"
#include "isp/isp_chip.h"
#include "programming/cell_commands.h"
#include "tests/support/message_capture.h"
#include "tests/support/status_of.h"

namespace {

const std::string hint = "For short help type\n\tzindle -h";
std::string bad(const std::string& value, char letter) {
  return "Invalid value '" + value + "' for switch " + letter + "\n\n" + hint + "\n";
}
std::string extension(const std::string& t) { return "Invalid HEX file switch extension '-" + t + "'\n"; }

struct outcome {
  int status;  // -1: no error
  std::string output;
  run_settings after;
  int threshold;
};

// Parses the arguments from the start-up state, with `check` also checking their combination.
outcome run(const std::vector<std::string>& args, bool check = false) {
  static std::deque<std::string> storage;  // the settings point into the arguments
  reset_process_state();
  std::vector<char*> argv{&storage.emplace_back("zindle")[0]};
  for (const auto& a : args) argv.push_back(&storage.emplace_back(a)[0]);
  argv.push_back(nullptr);
  message_capture capture;
  const int status = status_of([&] {
    parse_command_line(int(args.size() + 1), argv.data());
    if (check) check_combination();
  });
  return {status, capture.text(), settings, msg_stream.threshold};
}

std::string joined(const std::vector<std::string>& args) {
  std::string s;
  for (const auto& a : args) s += a + " ";
  return s;
}
std::string text(const char* s) { return s != nullptr ? s : "(none)"; }

// Every field, so that a switch that also changes something it should not is caught.
void expect_same(const run_settings& want, const run_settings& got, const std::string& where) {
#define SAME(f) EXPECT_EQ(want.f, got.f) << where << #f;
#define SAME_TEXT(f) EXPECT_EQ(text(want.f), text(got.f)) << where << #f;
  SAME_TEXT(requested_chip) SAME_TEXT(code_file) SAME_TEXT(data_file) SAME_TEXT(fuse_list_text)
  SAME_TEXT(adapter_text) SAME_TEXT(port_text) SAME(split_code_file) SAME(erase) SAME(eeprom_keep)
  SAME(blank_mask) SAME(read) SAME(write_flags) SAME(verify) SAME(verify_all) SAME(lock_level) SAME(lock_first)
  SAME(use_erase_counter) SAME(erase_counter_value) SAME(force) SAME(wait_key) SAME(wait_key_early)
  SAME(outputs_off_after) SAME(power_from_data) SAME(delay_multiplier) SAME(clock_frequency) SAME(clock_is_sck)
  SAME(xtal_divider)
#undef SAME
#undef SAME_TEXT
}

run_settings files(const char* code, const char* data) {  // two files or a -c/-d name: no split
  run_settings s;
  s.code_file = code;
  s.data_file = data;
  s.split_code_file = false;
  return s;
}

TEST(CommandLine, SwitchesSetExactlyTheirSettings) {
  const struct {
    std::vector<std::string> args;
    std::function<void(run_settings&)> expect;  // applied to the defaults
  } cases[] = {
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
      {{"-o0,32"}, [](run_settings& s) { s.clock_frequency = 0; s.xtal_divider = 32; }},
      {{"-aBB"}, [](run_settings& s) { s.adapter_text = "BB"; }},
      {{"-am:SCK=~2"}, [](run_settings& s) { s.adapter_text = "m:SCK=~2"; }},
      {{"-az"}, [](run_settings& s) { s.outputs_off_after = true; }},
      {{"-aZjunk"}, [](run_settings& s) { s.outputs_off_after = true; }},
      {{"-ap"}, [](run_settings& s) { s.power_from_data = true; }},
      {{"-p/dev/parport0"}, [](run_settings& s) { s.port_text = "/dev/parport0"; }},
      {{"-fCKSEL=0,_HIGH=FF"}, [](run_settings& s) { s.fuse_list_text = "CKSEL=0,_HIGH=FF"; }},
      {{"a.hex"}, [](run_settings& s) { s.code_file = "a.hex"; }},
      {{"a.hex", "b.hex"}, [](run_settings& s) { s = files("a.hex", "b.hex"); }},
      {{"-ca.hex"}, [](run_settings& s) { s = files("a.hex", nullptr); }},
      {{"-c", "a.hex", "b.hex"}, [](run_settings& s) { s = files("a.hex", "b.hex"); }},
      {{"-d", "-x.hex", "c.hex"}, [](run_settings& s) { s = files("c.hex", "-x.hex"); }},
      {{"-D", "+e.hex"}, [](run_settings& s) { s = files(nullptr, "+e.hex"); }},
  };
  for (const auto& c : cases) {
    const outcome got = run(c.args);
    EXPECT_EQ(got.status, -1) << joined(c.args) << got.output;
    EXPECT_EQ(got.output, "") << joined(c.args);
    EXPECT_EQ(got.threshold, 2) << joined(c.args);
    run_settings want;
    c.expect(want);
    expect_same(want, got.after, joined(c.args));
  }
  const outcome debug = run({"-%%"});
  EXPECT_EQ(debug.threshold, 4);
  expect_same(run_settings{}, debug.after, "-%");
}

TEST(CommandLine, InactiveResetTimeTakesOnlyValuesInRange) {
  const struct {
    const char* arg;
    float expected;
  } cases[] = {{"-ai1", 1}, {"-ai10000", 10000}, {"-ai0", 2}, {"-ai10001", 2}, {"-AI7", 7}};
  for (const auto& c : cases) {
    const outcome got = run({c.arg});
    EXPECT_EQ(got.status, -1) << c.arg;
    EXPECT_EQ(got.output, "") << c.arg;
    EXPECT_EQ(isp_chip.reset_inactive_time, c.expected) << c.arg;
    EXPECT_EQ(got.after.adapter_text, nullptr) << c.arg;
  }
}

// The parse, then the combination check in its order: the first failure's message, status 70.
TEST(CommandLine, RefusalsPrintTheirMessageAndStopWithStatus70) {
  const std::string two_code_files = "\tCan't use two files for CODE memory\na.hex\nb.hex\n";
  const std::string twice = "Can't handle two specail code/data commands of one type\n";
  const std::string nothing_with_fuses = "Nothing to do with fuses, -w or -v must be specified\n";
  const struct {
    std::vector<std::string> args;
    std::string message;
  } cases[] = {
      {{"+"}, "Chip name required for '+'\n"},
      {{"+ATmega9999"}, "Unsupported device mega9999\n"},
      {{"-we"}, bad("e", 'w')}, {{"-W+x"}, bad("x", 'W')},
      {{"-ew-p1"}, bad("-p1", 'w')}, {{"-bx"}, bad("x", 'b')},
      {{"-bcx"}, bad("x", 'b')}, {{"-l"}, bad("", 'l')},
      {{"-l3"}, bad("3", 'l')}, {{"-L+"}, bad("", 'L')},
      {{"-l+x"}, bad("x", 'l')}, {{"-o"}, bad("", 'o')},
      {{"-oMHz"}, bad("MHz", 'o')}, {{"-o4GHz"}, bad("4GHz", 'o')},
      {{"-O0,33"}, bad("0,33", 'O')}, {{"-o0,0"}, bad("0,0", 'o')},
      {{"-os0,x"}, bad("s0,x", 'o')},
      {{"-o999Hz"}, "-o: OSC frequency must be 0 or from 1kHz to 40MHz\n"},
      {{"-o40.001MHz"}, "-o: OSC frequency must be 0 or from 1kHz to 40MHz\n"},
      {{"-o-4MHz"}, "-o: OSC frequency must be 0 or from 1kHz to 40MHz\n"},
      {{"-o4MHz,2"}, "-o: divider can be used only with -o0 form of the switch\n"},
      {{"-n0"}, bad("0", 'n')}, {{"-N65535"}, bad("65535", 'N')},
      {{"-ai"}, "Value required for switch '-ai'\n"},
      {{"-aix"}, "Value required for switch '-ai'\n"},
      {{"-ar"}, "-ar switch not supported now, use adapter configuration file for inverted reset\n"},
      {{"-c"}, "File name required for -C\n"},
      {{"a.hex", "-d"}, "File name required for -D\n"},
      {{"a.hex", "-c", "b.hex"}, two_code_files},
      {{"-ca.hex", "-cb.hex"}, two_code_files},
      {{"-da.hex", "-d", "b.hex"}, "\tCan't use two files for DATA memory\na.hex\nb.hex\n"},
      {{"a.hex", "b.hex", "c.hex"}, "Too many files\n"},
      {{"-fA=1", "-fB=0"}, "Only one -F switch can be used, place all fuses in one switch\n"},
      {{"-ej"}, "Invalid switch j\n" + hint + "\n"},
      {{"-5-2"}, "Invalid switch -\n" + hint + "\n"},
      {{"-x", "+tiny99"}, "Invalid switch x\n" + hint + "\n"},  // the first bad argument ends the parse
      {{"-d?SERNO2=10,f"}, extension("d?SERNO2=10,f")},
      {{"-c*"}, extension("c*")},
      {{"-c*OSCCAL1"}, extension("c*OSCCAL1")},
      {{"-c*OSCCAL=xyz"}, extension("c*OSCCAL=xyz")},
      {{"-c*OSCCAL=100000000"}, extension("c*OSCCAL=100000000")},
      {{"-c*OSCCAL=FFFFFFFF"}, extension("c*OSCCAL=FFFFFFFF")},
      {{"-c*OSCCAL2=100,x"}, extension("c*OSCCAL")},
      {{"-c*SERNO4=7FC,"}, extension("c*SERNO")},
      {{"-c*BYTES3=200,A1B2"}, extension("c*BYTES")},
      {{"-c*BYTES3=200"}, extension("c*BYTES")},
      {{"-c*BYTES2=200,A1BG"}, extension("c*BYTES")},
      {{"-c*BYTES1=200,A1B2"}, extension("c*BYTES")},
      {{"-d*WORD2=10,1234"}, extension("d*WORD")},
      {{"-c*OSCCAL=10", "-d*OSCCAL1=20"}, twice},
      {{"-c*SERNO2=10,a", "-c?SERNO2=20,b"}, twice},
      {{"-ew", "a.hex"}, "Chip name must be specified\n"},
      {{"-p/dev/parport0"}, "Chip name must be specified\n"},
      {{"+tiny13", "-r"}, "Can't read without target files\n"},
      {{"+tiny13", "-rw", "a.hex"}, "Can't both read and write or verify\n"},
      {{"+tiny13", "-vr"}, "Can't both read and write or verify\n"},
      {{"+tiny13", "-r", "a.hex", "-f_LOW=6A"}, nothing_with_fuses},
      {{"+tiny13", "-w"}, "Can't write/verify without source files or fuse list\n"},
      {{"+tiny13", "-v+"}, "Can't write/verify without source files or fuse list\n"},
      {{"+tiny13", "a.hex"}, "Nothing to do with files, -r or -w or -v must be specified\n"},
      {{"+tiny13", "-e", "-da.eep"}, "Nothing to do with files, -r or -w or -v must be specified\n"},
      {{"+tiny13", "-f_LOW=6A"}, nothing_with_fuses},
  };
  for (const auto& c : cases) {
    const outcome got = run(c.args, true);
    EXPECT_EQ(got.status, 70) << joined(c.args);
    EXPECT_EQ(got.output, c.message) << joined(c.args);
  }
  EXPECT_TRUE(run({"-ew", "-q", "-y"}).after.erase);  // what came before the bad argument was taken

  const std::vector<std::string> valid[] = {
      {"+tiny13"}, {"+tiny13", "-e"}, {"+tiny13", "-b"}, {"+tiny13", "-ew", "a.hex"}, {"+tiny13", "-v", "-da.eep"},
      {"+tiny13", "-w", "-f_LOW=6A"}, {"+tiny13", "-r", "a.hex", "b.eep"}, {"-p?"},
  };
  for (const auto& args : valid) EXPECT_EQ(run(args, true).status, -1) << joined(args);
}

TEST(CommandLine, HelpStopsWithStatusZeroAndListsWhatIsKnownSoFar) {
  const outcome chip = run({"+tiny13", "-h", "-x"});
  EXPECT_EQ(chip.status, 0);
  EXPECT_NE(chip.output.find("signature 1E9007\n"), std::string::npos) << chip.output;
  EXPECT_EQ(chip.output.find("Supported devices"), std::string::npos);
  for (const char* h : {"-h", "-?", "-H", "-e?"}) {
    const outcome general = run({h, "+tiny13"});
    EXPECT_EQ(general.status, 0) << h;
    EXPECT_NE(general.output.find("\nSupported devices"), std::string::npos) << h;
    EXPECT_EQ(general.output.find("signature"), std::string::npos) << h;
  }
}

TEST(CommandLine, SpecialDataCommandsAreParsed) {
  const outcome first = run({"-c*OSCCAL1=1FFE,-3", "-d*SERNO4=7fc,serial.txt", "-c?bytes3=200,A1b2C3"});
  ASSERT_EQ(first.status, -1);
  const auto& [osccal, serno, bytes] = special_commands;
  EXPECT_EQ(std::make_tuple(osccal.mode, osccal.index, osccal.address, osccal.correction),
            std::make_tuple(cell_code, 1, 0x1FFEu, -3));
  EXPECT_EQ(std::make_tuple(serno.mode, serno.length, serno.address, serno.file),
            std::make_tuple(cell_data, 4, 0x7FCu, std::string("serial.txt")));
  EXPECT_EQ(std::make_tuple(bytes.mode, bytes.count, bytes.address), std::make_tuple(cell_code_ldi, 3, 0x200u));
  EXPECT_EQ(bytes.data, (std::vector<uint8_t>{0xA1, 0xB2, 0xC3}));
  EXPECT_EQ(first.after.code_file, nullptr);  // a special command is not a file name
  EXPECT_EQ(first.after.data_file, nullptr);
  EXPECT_TRUE(first.after.split_code_file);

  ASSERT_EQ(run({"-C?OSCCAL=100"}).status, -1);
  EXPECT_EQ(std::make_tuple(osccal.mode, osccal.index, osccal.address, osccal.correction),
            std::make_tuple(cell_code_ldi, 0, 0x100u, 0));
  EXPECT_EQ(serno.mode, cell_none);
  EXPECT_EQ(bytes.mode, cell_none);

  // A later BYTES replaces an earlier one; the SERNO length is checked only when it is used.
  ASSERT_EQ(run({"-c*BYTES2=10,0102", "-d*BYTES1=20,FF", "-c*SERNO5=7FC,f"}).status, -1);
  EXPECT_EQ(std::make_tuple(bytes.mode, bytes.address, bytes.data),
            std::make_tuple(cell_data, 0x20u, std::vector<uint8_t>{0xFF}));
  EXPECT_EQ(serno.length, 5);
}

}  // namespace
