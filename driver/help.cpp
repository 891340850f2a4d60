// The help listings of -h / -?: the usage text followed by the supported
// devices, or one chip's signature and the fuse fields -f can set.
#include "driver/help.h"

#include <cstring>

#include "devices/chip_desc.h"
#include "driver/messages.h"

const char* const project_web_address = "https://zindle.sourceforge.io/";

namespace {

const char usage_general[] =
    "Use:\tzindle [SWITCHES] [[-c] cfile] [-d dfile]\n"
    "\tSwitches ( # represent number)\n"
    "\n"
    " -?,-h\t this help\n"
    " +<nam>\tforce chip to specified by name <nam> (list see below)\n"
    " -aX\t'adapter' group (default KALDO)\n"
    "\t-a{ft2232|ft2232h|ft4232h}[PINMAP]\n"
    "\t\tFT2232/FT4232-based USB adapter with optional user pin configuration\n"
    "\t-amPINMAP - LPT adapter with user pin configuration\n"
    "\t\tPINMAP - pin configuration in one of two forms\n"
    "\t\t=filename (see documentation for config file format)\n"
    "\t\t:pincfg[:pincfg] (pin configuration entries as in config file)\n"
    "\t-ab  Altera ByteBlaster, ByteBlasterMV or ByteBlaster-II\n"
    "\t-as  STK200 or STK300 adapter\n"
    "\t-ax  XILINX parallel download cable\n"
    "\t-az  \"idleCable\" (turn LPT or FT2232 outputs to hi-Z after programming)\n"
    "\t-ai# Inactive reset time, #=time_in_mS\n"
    "\t-ap  chip powered from free LPT data outputs\n"
    " -k wait for pressing an adapter's key before starting the programming\n"
    "\t(-K for waiting before programming files reading)\n"
    "\tsee PINMAP description\n"
    " -p<device>\n"
    "    for LPT-based adapters:\n"
    "\t- hexadecimal number - LPT port number or base address for direct IO interface.\n"
    "\t  Default is 2 (LPT2)\n"
    "\t- /dev/parportN - parport special file for IOCTL LPT interface\n"
    "    for FT2232-based adapters:\n"
    "\tlist of optional FT2232 attributes  -pv=VID,p=PID,s=SERNO,d=DESCRIPTION\n";

// Printed as data: "%%" stands for itself here.
const char usage_operations[] =
    " -o#[Hz|kHz|MHz] define MCU oscillator frequency\n"
    " -os#[Hz|kHz|MHz] define SPI SCK frequency\n"
    "\tdefault units is kHz, default frequency is 800kHz\n"
    " -o0[,#] zindle must generate XTAL, #=additional divider for SCK\n"
    " -1, -2, -3, -4, -5\n"
    "\tset programming delays 1.5, 2, 3, 4, 5 times longer\n"
    "\t(for low voltage programming)\n"
    " -%%\tprint some debug info (use -%%%% in .bat files)\n"
    " -!\tforce operations even chip not detected\n"
    " -n#\tUse last 2 bytes of code memory for erase counter\n"
    "\t# force counter to specified value\n"
    " -c,-d\tmark Code and Data file names\n"
    " -e[-]\tErase\n"
    "\t'-' enable read/erase/writeback sequence for EEPROM\n"
    " -b (-b{c|d})\tBlank check (code or data only)\n"
    " -r\tRead from chip to files\n"
    " -w[+][p]\tWrite from files to chip\n"
    "\t'+' write FF to EEPROM locations not mentioned in '-d' file\n"
    "\t'p' use polling\n"
    " -v[+]\tVerify chip with files\n"
    "\t'+' enable testing of locations not mentioned in files\n"
    " -l[+]#\tLock chip to level #=1 (LB1 programmed) or 2 (LB1 and LB2 programmed)\n"
    "\t'+' write lock bits before fuses\n"
    " -f<list> -  fuses to be changed\n"
    "\t<list> syntax:\n"
    "\t\tfusename=val,bytename=val,...\n"
    "\t\tfor single-bit fuses val can be ON (0) or OFF (1)\n"
    "\t\tunlisted fuses not changed\n"
    "\ttype 'zindle +name -?'\n"
    "\tfor list of fuse names for chip 'name'\n";

// The device list: names start at character 1, 12, 24, ... 72 of a line, at
// least two blanks apart, no line longer than 78 characters; a record flagged
// chip_list_new_line starts a new line (a new family).
constexpr int list_width = 78;
constexpr int column_step = 12;

void print_device_list() {
  report(2, "\nSupported devices");
  int col = list_width + 1;  // forces a new line before the first name
  for (int i = 0; i < chip_count; ++i) {
    const chip_desc& chip = chip_table[i];
    const int len = static_cast<int>(strlen(chip.name));
    int next = (col + column_step - 1) / column_step * column_step;
    if (next - col < 2) next += column_step;
    if (len + next > list_width || (chip.flags & chip_list_new_line)) {
      report(2, "\n %s", chip.name);
      col = len + 1;
    } else {
      report(2, "%*c%s", next - col, ' ', chip.name);
      col = len + next;
    }
  }
}

}  // namespace

void print_help() {
  report(2, "%s", usage_general);
  report(2, "%s", usage_operations);
  print_device_list();
  report(2, "\n\nFor latest versions see\n%s\n", project_web_address);
}

void print_chip_fuses(const char* name) {
  const int index = find_chip(name);
  if (index < 0) {
    report(2, "%s unsupported\n", name);
    return;
  }
  const chip_desc& chip = chip_table[index];
  report(2, "\n%s signature %X\n", chip.name, static_cast<unsigned>(chip.signature));
  if (chip.fuses == nullptr) {
    report(2, "  has no ISP-writable fuses\n");
    return;
  }
  report(2, "Fuse list\n  fuse programmed state is 0\n  use ON or OFF aliases for 1-bit fuses if you not shure\n");
  for (int byte = 0; byte < 4; ++byte) {
    const fuse_desc* field = chip.fuses[byte];
    if (field == nullptr) continue;
    report(2, "\n%s fuse byte:\n", fuse_byte_name(byte));
    for (; field->info != nullptr; ++field) {
      const unsigned max = ((1u << field->width) - 1) & 0xFF;
      report(2, "  %-10s = 0 %s %2X - %s\n", field->info->name, max == 1 ? "or" : "to", max, field->info->text);
      if (field->info->alt_name != nullptr) report(2, "   (%s)\n", field->info->alt_name);
    }
  }
}
