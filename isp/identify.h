// Bringing the chip from reset into programming mode and identifying it by
// its signature. The programming run calls it after power-up and the chip
// erase calls it again after every erase.
#pragma once

#include <cstdint>

// Signature of a chip whose lock bits hide the real one.
constexpr uint32_t protected_signature = 0x000102;

// Resets the chip, synchronises with Programming Enable (resync by SCK or
// reset pulses), reads the signature and sets isp_chip.chip_index (-1 when
// the signature is unknown; that is left to the caller).
void synchronise_and_identify();
