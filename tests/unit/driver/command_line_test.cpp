// The command line: the settings each argument list leaves, or the message and status it stops with.
#include "driver/command_line.h"

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "driver/process_state.h"
#include "isp/isp_chip.h"
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
  return {status, capture.text(), settings};
}

std::string joined(const std::vector<std::string>& args) {
  std::string s;
  for (const auto& a : args) s += a + " ";
  return s;
}

// Every setting in one line, so that a switch that also changes something it should not is caught.
std::string fields(const run_settings& s) {
  auto t = [](const char* p) { return std::string(p != nullptr ? p : "-"); };
  std::ostringstream o;
  o << t(s.code_file) << ' ' << t(s.data_file) << ' ' << t(s.adapter_text) << ' ' << s.split_code_file << s.erase
    << s.eeprom_keep << int(s.blank_mask) << s.read << int(s.write_flags) << s.verify << s.verify_all << ' '
    << int(s.lock_level) << s.lock_first << s.use_erase_counter << ' ' << s.erase_counter_value << ' ' << s.force
    << s.wait_key << s.wait_key_early << s.outputs_off_after << s.power_from_data << ' ' << s.delay_multiplier << ' '
    << s.clock_frequency << ' ' << s.clock_is_sck << ' ' << s.xtal_divider << ' ' << t(s.requested_chip);
  return o.str();
}

TEST(CommandLine, SwitchesSetExactlyTheirSettings) {
  const struct {
    std::vector<std::string> args;
    std::function<void(run_settings&)> expect;  // applied to the defaults
  } cases[] = {
      {{"-os2MHz"}, [](run_settings& s) { s.clock_frequency = 2000000; s.clock_is_sck = true; }},
      {{"-o0,4"}, [](run_settings& s) { s.clock_frequency = 0; s.xtal_divider = 4; }},
      {{"-o0,32"}, [](run_settings& s) { s.clock_frequency = 0; s.xtal_divider = 32; }},
      {{"-o1000hz"}, [](run_settings& s) { s.clock_frequency = 1000; }},
      {{"-o40mhz"}, [](run_settings& s) { s.clock_frequency = 40000000; }},
      {{"-o3.6864MHz"}, [](run_settings& s) { s.clock_frequency = 3686400; }},
      {{"-o800"}, [](run_settings& s) { s.clock_frequency = 800000; }},
      {{"-ap"}, [](run_settings& s) { s.power_from_data = true; }},
      {{"-n65534"}, [](run_settings& s) { s.use_erase_counter = true; s.erase_counter_value = 65534; }},
      {{"-1"}, [](run_settings& s) { s.delay_multiplier = 1.5f; }},
      {{"-34"}, [](run_settings& s) { s.delay_multiplier = 4; }},
      {{"-d", "-x.hex", "c.hex"},
       [](run_settings& s) { s.code_file = "c.hex", s.data_file = "-x.hex", s.split_code_file = false; }},
  };
  for (const auto& c : cases) {
    const outcome got = run(c.args);
    EXPECT_EQ(got.status, -1) << joined(c.args) << got.output;
    run_settings want;
    c.expect(want);
    EXPECT_EQ(fields(got.after), fields(want)) << joined(c.args);
  }
  const std::pair<const char*, float> reset_times[] = {  // the inactive reset time: 1 to 10000 ms, else 2
      {"-ai1", 1}, {"-ai10000", 10000}, {"-ai0", 2}, {"-ai10001", 2}, {"-AI7", 7}};
  for (const auto& [arg, ms] : reset_times) {
    const outcome got = run({arg});
    EXPECT_EQ(std::make_tuple(got.status, isp_chip.reset_inactive_time, fields(got.after)),
              std::make_tuple(-1, ms, fields(run_settings{}))) << arg;
  }
}

// The parse, then the combination check in its order: the first failure's message, status 70.
TEST(CommandLine, RefusalsPrintTheirMessageAndStopWithStatus70) {
  const std::string range = "-o: OSC frequency must be 0 or from 1kHz to 40MHz\n";
  const std::string twice = "Can't handle two specail code/data commands of one type\n";
  const struct {
    std::vector<std::string> args;
    std::string message;
  } cases[] = {
      {{"-bx"}, bad("x", 'b')}, {{"-bcx"}, bad("x", 'b')}, {{"-l"}, bad("", 'l')}, {{"-l3"}, bad("3", 'l')},
      {{"-l+x"}, bad("x", 'l')}, {{"-oMHz"}, bad("MHz", 'o')}, {{"-o4GHz"}, bad("4GHz", 'o')},
      {{"-O0,33"}, bad("0,33", 'O')}, {{"-o0,0"}, bad("0,0", 'o')}, {{"-os0,x"}, bad("s0,x", 'o')},
      {{"-o999Hz"}, range}, {{"-o40.001MHz"}, range}, {{"-o-4MHz"}, range},
      {{"-o4MHz,2"}, "-o: divider can be used only with -o0 form of the switch\n"},
      {{"-n0"}, bad("0", 'n')}, {{"-N65535"}, bad("65535", 'N')},
      {{"-ai"}, "Value required for switch '-ai'\n"}, {{"-aix"}, "Value required for switch '-ai'\n"},
      {{"-ar"}, "-ar switch not supported now, use adapter configuration file for inverted reset\n"},
      {{"-c"}, "File name required for -C\n"}, {{"a.hex", "-d"}, "File name required for -D\n"},
      {{"-da.hex", "-d", "b.hex"}, "\tCan't use two files for DATA memory\na.hex\nb.hex\n"},
      {{"-fA=1", "-fB=0"}, "Only one -F switch can be used, place all fuses in one switch\n"},
      {{"-ej"}, "Invalid switch j\n" + hint + "\n"},
      {{"-d?SERNO2=10,f"}, extension("d?SERNO2=10,f")}, {{"-c*"}, extension("c*")},
      {{"-c*OSCCAL1"}, extension("c*OSCCAL1")}, {{"-c*OSCCAL=xyz"}, extension("c*OSCCAL=xyz")},
      {{"-c*OSCCAL=100000000"}, extension("c*OSCCAL=100000000")},
      {{"-c*OSCCAL=FFFFFFFF"}, extension("c*OSCCAL=FFFFFFFF")}, {{"-c*OSCCAL2=100,x"}, extension("c*OSCCAL")},
      {{"-c*SERNO4=7FC,"}, extension("c*SERNO")}, {{"-c*BYTES3=200"}, extension("c*BYTES")},
      {{"-c*BYTES2=200,A1BG"}, extension("c*BYTES")}, {{"-c*BYTES1=200,A1B2"}, extension("c*BYTES")},
      {{"-d*WORD2=10,1234"}, extension("d*WORD")},
      {{"-c*OSCCAL=10", "-d*OSCCAL1=20"}, twice}, {{"-c*SERNO2=10,a", "-c?SERNO2=20,b"}, twice},
      {{"+tiny13", "-r"}, "Can't read without target files\n"},
      {{"+tiny13", "-rw", "a.hex"}, "Can't both read and write or verify\n"},
      {{"+tiny13", "-r", "a.hex", "-f_LOW=6A"}, "Nothing to do with fuses, -w or -v must be specified\n"},
      {{"+tiny13", "-w"}, "Can't write/verify without source files or fuse list\n"},
      {{"+tiny13", "-e", "-da.eep"}, "Nothing to do with files, -r or -w or -v must be specified\n"},
  };
  for (const auto& c : cases) {
    const outcome got = run(c.args, true);
    EXPECT_EQ(std::make_pair(got.status, got.output), std::make_pair(70, c.message)) << joined(c.args);
  }
}

}  // namespace
