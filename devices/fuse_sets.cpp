// The fuse fields of every supported chip, byte by byte. Each list names the
// fields of one fuse byte from the most significant bit downward; that order
// is the order of the listings and of the verification messages. A fuse bit
// reads 0 when programmed.
#include "devices/fuse_sets.h"

namespace {

// A one-bit field at bit position `b`.
constexpr fuse_desc bit(const fuse_info& field, uint32_t b) { return {&field, 1, b}; }
// A field over the bits high..low.
constexpr fuse_desc bits(const fuse_info& field, uint32_t high, uint32_t low) { return {&field, high - low + 1, low}; }
// Ends every list.
constexpr fuse_desc end{nullptr, 0, 0};

// The named fuse fields.
const fuse_info fstrt{"FSTRT", "Fast start", nullptr};
const fuse_info bodlevel{"BODLEVEL", "Brown-out level", "BLEV"};
const fuse_info boden{"BODEN", "Brown-out detect", nullptr};
const fuse_info cksel{"CKSEL", "Clock selection", nullptr};
const fuse_info rcen{"RCEN", "RC generator enable", nullptr};
const fuse_info spien{"SPIEN", "SPI programming enable", nullptr};
const fuse_info rstdisbl{"RSTDISBL", "Reset pin disable", "RSTDSBL"};
const fuse_info eesave{"EESAVE", "Keep EEPROM @ erase", "EESV"};
const fuse_info wdton{"WDTON", "WDT enable", nullptr};
const fuse_info ckdiv{"CKDIV", "clock prescaler selection", "CKDIV8"};
const fuse_info sut{"SUT", "Start-up timer", nullptr};
const fuse_info selfprgen{"SELFPRGEN", "Self programming enable", "SPMEN"};
const fuse_info dwen{"DWEN", "DebugWire enable", nullptr};
const fuse_info ckout{"CKOUT", "clock output enable", nullptr};
const fuse_info pllck{"PLLCK", "Use PLL for internal clock", nullptr};
const fuse_info ckopt{"CKOPT", "Clock option", nullptr};
const fuse_info blb1{"BLB1", "Disable SPM/LPM in boot section (BLB12,BLB11)", nullptr};
const fuse_info blb0{"BLB0", "Disable SPM/LPM in application section (BLB02,BLB01)", nullptr};
const fuse_info bootrst{"BOOTRST", "Reset to boot block", "BRST"};
const fuse_info bootsz{"BOOTSZ", "Boot section size", "BSIZ"};
const fuse_info ocden{"OCDEN", "On-chip debug enable", nullptr};
const fuse_info jtagen{"JTAGEN", "JTAG port enable", nullptr};
const fuse_info s8515c{"S8515C", "90S8515 compatibility enable", nullptr};
const fuse_info s8535c{"S8535C", "90S8535 compatibility enable", nullptr};
const fuse_info m161c{"M161C", "mega161 compatibility enable", nullptr};
const fuse_info m103c{"M103C", "mega103 compatibility enable", nullptr};
const fuse_info hwbe{"HWBE", "Hardwre Boot Enable", nullptr};
const fuse_info psc2rb{"PSC2RB", "PSC2 reset behavior", nullptr};
const fuse_info psc1rb{"PSC1RB", "PSC1 reset behavior", nullptr};
const fuse_info psc0rb{"PSC0RB", "PSC0 reset behavior", nullptr};
const fuse_info pscrv{"PSCRV", "PSC reset value", nullptr};
const fuse_info psc2rba{"PSC2RBA", "PSC2 reset behavior for OUT22 & 23", nullptr};
const fuse_info pscrrb{"PSCRRB", "PSC reduced reset behavior", nullptr};
const fuse_info pscinrb{"PSCINRB", "PSC & PSCR Inputs Reset Behavior", nullptr};
const fuse_info pscrb{"PSCRB", "PSC reset behavior", nullptr};
const fuse_info pscrva{"PSCRVA", "PSCA reset value", nullptr};
const fuse_info pscrvb{"PSCRVB", "PSCB reset value", nullptr};
const fuse_info duvrdinit{"DUVRDINIT", "DUVRD register reset value", nullptr};

// The boot lock bits; LB1/LB2 of the same byte are set with the lock switch,
// not through the fuse list.
const fuse_desc boot_lock_bits[] = {bits(blb1, 5, 4), bits(blb0, 3, 2), end};

}  // namespace

// F1: 90S4434, 90S8535, 90S2323
const fuse_desc f1_low[] = {bit(fstrt, 0), end};
const fuse_desc* const fuses_f1[4] = {nullptr, f1_low, nullptr, nullptr};

// F2: 90S2333, 90S4433
const fuse_desc f2_low[] = {bit(bodlevel, 4), bit(boden, 3), bits(cksel, 2, 0), end};
const fuse_desc* const fuses_f2[4] = {nullptr, f2_low, nullptr, nullptr};

// F3: 90S2343, tiny22
const fuse_desc f3_low[] = {bit(rcen, 0), end};
const fuse_desc* const fuses_f3[4] = {nullptr, f3_low, nullptr, nullptr};

// F4: tiny12
const fuse_desc f4_low[] = {
    bit(bodlevel, 7), bit(boden, 6), bit(spien, 5), bit(rstdisbl, 4), bits(cksel, 3, 0), end,
};
const fuse_desc* const fuses_f4[4] = {nullptr, f4_low, nullptr, nullptr};

// F5: tiny13
const fuse_desc f5_low[] = {bit(eesave, 6), bit(wdton, 5), bit(ckdiv, 4), bits(sut, 3, 2), bits(cksel, 1, 0), end};
const fuse_desc f5_high[] = {bit(selfprgen, 4), bit(dwen, 3), bits(bodlevel, 2, 1), bit(rstdisbl, 0), end};
const fuse_desc* const fuses_f5[4] = {nullptr, f5_low, f5_high, nullptr};

// F6: tiny2313, tiny4313
const fuse_desc f6_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f6_high[] = {
    bit(dwen, 7), bit(eesave, 6), bit(wdton, 4), bits(bodlevel, 3, 1), bit(rstdisbl, 0), end,
};
const fuse_desc f6_ext[] = {bit(selfprgen, 0), end};
const fuse_desc* const fuses_f6[4] = {nullptr, f6_low, f6_high, f6_ext};

// F7: tiny15
const fuse_desc f7_low[] = {
    bit(bodlevel, 7), bit(boden, 6), bit(spien, 5), bit(rstdisbl, 4), bits(cksel, 1, 0), end,
};
const fuse_desc* const fuses_f7[4] = {nullptr, f7_low, nullptr, nullptr};

// F8: tiny25, tiny45, tiny85, tiny261, tiny461, tiny861, tiny24, tiny44, tiny84, tiny43u, tiny87, tiny167, mega48,
//   mega48P
const fuse_desc f8_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f8_high[] = {
    bit(rstdisbl, 7), bit(dwen, 6), bit(wdton, 4), bit(eesave, 3), bits(bodlevel, 2, 0), end,
};
const fuse_desc f8_ext[] = {bit(selfprgen, 0), end};
const fuse_desc* const fuses_f8[4] = {nullptr, f8_low, f8_high, f8_ext};

// F9: tiny26
const fuse_desc f9_low[] = {bit(pllck, 7), bit(ckopt, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f9_high[] = {bit(rstdisbl, 4), bit(eesave, 2), bit(bodlevel, 1), bit(boden, 0), end};
const fuse_desc* const fuses_f9[4] = {nullptr, f9_low, f9_high, nullptr};

// F10: tiny48, tiny88
const fuse_desc f10_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 1, 0), end};
const fuse_desc f10_high[] = {
    bit(rstdisbl, 7), bit(dwen, 6), bit(wdton, 4), bit(eesave, 3), bits(bodlevel, 2, 0), end,
};
const fuse_desc f10_ext[] = {bit(selfprgen, 0), end};
const fuse_desc* const fuses_f10[4] = {nullptr, f10_low, f10_high, f10_ext};

// F11: mega603, mega103
const fuse_desc f11_low[] = {bit(eesave, 3), bits(sut, 1, 0), end};
const fuse_desc* const fuses_f11[4] = {nullptr, f11_low, nullptr, nullptr};

// F12: mega161
const fuse_desc f12_low[] = {bit(bootrst, 6), bit(sut, 4), bits(cksel, 2, 0), end};
const fuse_desc* const fuses_f12[4] = {boot_lock_bits, f12_low, nullptr, nullptr};

// F13: mega163
const fuse_desc f13_low[] = {bit(bodlevel, 7), bit(boden, 6), bits(cksel, 3, 0), end};
const fuse_desc f13_high[] = {bits(bootsz, 2, 1), bit(bootrst, 0), end};
const fuse_desc* const fuses_f13[4] = {boot_lock_bits, f13_low, f13_high, nullptr};

// F14: mega323
const fuse_desc f14_low[] = {bit(bodlevel, 7), bit(boden, 6), bits(cksel, 3, 0), end};
const fuse_desc f14_high[] = {
    bit(ocden, 7), bit(jtagen, 6), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc* const fuses_f14[4] = {boot_lock_bits, f14_low, f14_high, nullptr};

// F15: mega8515
const fuse_desc f15_low[] = {bit(bodlevel, 7), bit(boden, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f15_high[] = {
    bit(s8515c, 7), bit(wdton, 6), bit(ckopt, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc* const fuses_f15[4] = {boot_lock_bits, f15_low, f15_high, nullptr};

// F16: mega8535
const fuse_desc f16_low[] = {bit(bodlevel, 7), bit(boden, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f16_high[] = {
    bit(s8535c, 7), bit(wdton, 6), bit(ckopt, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc* const fuses_f16[4] = {boot_lock_bits, f16_low, f16_high, nullptr};

// F17: mega162
const fuse_desc f17_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f17_high[] = {
    bit(ocden, 7), bit(jtagen, 6), bit(wdton, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc f17_ext[] = {bit(m161c, 4), bits(bodlevel, 3, 1), end};
const fuse_desc* const fuses_f17[4] = {boot_lock_bits, f17_low, f17_high, f17_ext};

// F18: mega8
const fuse_desc f18_low[] = {bit(bodlevel, 7), bit(boden, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f18_high[] = {
    bit(rstdisbl, 7), bit(wdton, 6), bit(ckopt, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc* const fuses_f18[4] = {boot_lock_bits, f18_low, f18_high, nullptr};

// F19: mega88, mega88P, mega168, mega168P
const fuse_desc f19_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f19_high[] = {
    bit(rstdisbl, 7), bit(dwen, 6), bit(wdton, 4), bit(eesave, 3), bits(bodlevel, 2, 0), end,
};
const fuse_desc f19_ext[] = {bits(bootsz, 2, 1), bit(bootrst, 0), end};
const fuse_desc* const fuses_f19[4] = {boot_lock_bits, f19_low, f19_high, f19_ext};

// F20: mega328, mega328P
const fuse_desc f20_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f20_high[] = {
    bit(rstdisbl, 7), bit(dwen, 6), bit(wdton, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc f20_ext[] = {bits(bodlevel, 2, 0), end};
const fuse_desc* const fuses_f20[4] = {boot_lock_bits, f20_low, f20_high, f20_ext};

// F21: mega16, mega32
const fuse_desc f21_low[] = {bit(bodlevel, 7), bit(boden, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f21_high[] = {
    bit(ocden, 7), bit(jtagen, 6), bit(ckopt, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc* const fuses_f21[4] = {boot_lock_bits, f21_low, f21_high, nullptr};

// F22: mega64, mega128
const fuse_desc f22_low[] = {bit(bodlevel, 7), bit(boden, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f22_high[] = {
    bit(ocden, 7), bit(jtagen, 6), bit(ckopt, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc f22_ext[] = {bit(m103c, 1), bit(wdton, 0), end};
const fuse_desc* const fuses_f22[4] = {boot_lock_bits, f22_low, f22_high, f22_ext};

// F23: 90CAN32, 90CAN64, 90CAN128
const fuse_desc f23_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f23_high[] = {
    bit(ocden, 7), bit(jtagen, 6), bit(wdton, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc f23_ext[] = {bits(bodlevel, 3, 1), end};
const fuse_desc* const fuses_f23[4] = {boot_lock_bits, f23_low, f23_high, f23_ext};

// F24: 90usb82, 90usb162, mega8U2, mega16U2, mega32U2
const fuse_desc f24_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f24_high[] = {
    bit(dwen, 7), bit(rstdisbl, 6), bit(wdton, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc f24_ext[] = {bit(hwbe, 3), bits(bodlevel, 2, 0), end};
const fuse_desc* const fuses_f24[4] = {boot_lock_bits, f24_low, f24_high, f24_ext};

// F25: mega16U4, mega32U4, mega32U6, 90usb646, 90usb1286
const fuse_desc f25_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f25_high[] = {
    bit(ocden, 7), bit(jtagen, 6), bit(wdton, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc f25_ext[] = {bit(hwbe, 3), bits(bodlevel, 2, 0), end};
const fuse_desc* const fuses_f25[4] = {boot_lock_bits, f25_low, f25_high, f25_ext};

// F26: mega164A, mega164P, mega324A, mega324P, mega324PA, mega644, mega644P, mega1284, mega1284P, mega640,
//   mega1280, mega1281, mega2560, mega2561, mega128RFA1
const fuse_desc f26_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f26_high[] = {
    bit(ocden, 7), bit(jtagen, 6), bit(wdton, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc f26_ext[] = {bits(bodlevel, 2, 0), end};
const fuse_desc* const fuses_f26[4] = {boot_lock_bits, f26_low, f26_high, f26_ext};

// F27: mega165, mega165A, mega169, mega169A
const fuse_desc f27_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f27_high[] = {
    bit(ocden, 7), bit(jtagen, 6), bit(wdton, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc f27_ext[] = {bits(bodlevel, 3, 1), bit(rstdisbl, 0), end};
const fuse_desc* const fuses_f27[4] = {boot_lock_bits, f27_low, f27_high, f27_ext};

// F28: mega325, mega325P, mega3250, mega3250P, mega645, mega6450, mega329, mega329P, mega3290, mega3290P, mega649,
//   mega6490
const fuse_desc f28_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f28_high[] = {
    bit(ocden, 7), bit(jtagen, 6), bit(wdton, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc f28_ext[] = {bits(bodlevel, 2, 1), bit(rstdisbl, 0), end};
const fuse_desc* const fuses_f28[4] = {boot_lock_bits, f28_low, f28_high, f28_ext};

// F29: 90pwm2, 90pwm1, 90pwm216
const fuse_desc f29_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f29_high[] = {
    bit(rstdisbl, 7), bit(dwen, 6), bit(wdton, 4), bit(eesave, 3), bits(bodlevel, 2, 0), end,
};
const fuse_desc f29_ext[] = {
    bit(psc2rb, 7), bit(psc1rb, 6), bit(psc0rb, 5), bit(pscrv, 4), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc* const fuses_f29[4] = {boot_lock_bits, f29_low, f29_high, f29_ext};

// F30: 90pwm81
const fuse_desc f30_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f30_high[] = {
    bit(rstdisbl, 7), bit(dwen, 6), bit(wdton, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc f30_ext[] = {
    bit(psc2rb, 7), bit(psc2rba, 6), bit(pscrrb, 5), bit(pscrv, 4), bit(pscinrb, 3), bits(bodlevel, 2, 0), end,
};
const fuse_desc* const fuses_f30[4] = {boot_lock_bits, f30_low, f30_high, f30_ext};

// F31: mega16M1, mega32M1, mega64M1, mega32C1, mega64C1
const fuse_desc f31_low[] = {bit(ckdiv, 7), bit(ckout, 6), bits(sut, 5, 4), bits(cksel, 3, 0), end};
const fuse_desc f31_high[] = {
    bit(rstdisbl, 7), bit(dwen, 6), bit(wdton, 4), bit(eesave, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end,
};
const fuse_desc f31_ext[] = {bit(pscrb, 5), bit(pscrva, 4), bit(pscrvb, 3), bits(bodlevel, 2, 0), end};
const fuse_desc* const fuses_f31[4] = {boot_lock_bits, f31_low, f31_high, f31_ext};

// F32: mega8HVA, mega16HVA, mega8HVD
const fuse_desc f32_low[] = {bit(wdton, 7), bit(eesave, 6), bit(dwen, 4), bit(selfprgen, 3), bits(sut, 2, 0), end};
const fuse_desc* const fuses_f32[4] = {nullptr, f32_low, nullptr, nullptr};

// F33: mega16HVB, mega32HVB
const fuse_desc f33_low[] = {bit(wdton, 7), bit(eesave, 6), bits(sut, 4, 2), end};
const fuse_desc f33_high[] = {bit(duvrdinit, 4), bit(dwen, 3), bits(bootsz, 2, 1), bit(bootrst, 0), end};
const fuse_desc* const fuses_f33[4] = {boot_lock_bits, f33_low, f33_high, nullptr};

