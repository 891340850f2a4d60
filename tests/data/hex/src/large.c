/* An ATmega2560 program whose FLASH passes 64 KiB: three 30 KiB tables in
   PROGMEM (an AVR object stays below 32 KiB) put the code above 0x10000, so its
   HEX file needs extended linear address records. It also has EEPROM data.
   Built into large_flash.hex and large_eeprom.hex. */
#include <avr/eeprom.h>
#include <avr/io.h>
#include <avr/pgmspace.h>

#define B(i) (uint8_t)(((i) * 37ul + ((i) >> 8) * 11ul + ((i) >> 12)) & 0xFF)
#define B4(i) B(i), B((i) + 1), B((i) + 2), B((i) + 3)
#define B16(i) B4(i), B4((i) + 4), B4((i) + 8), B4((i) + 12)
#define B64(i) B16(i), B16((i) + 16), B16((i) + 32), B16((i) + 48)
#define B256(i) B64(i), B64((i) + 64), B64((i) + 128), B64((i) + 192)
#define B1K(i) B256(i), B256((i) + 256), B256((i) + 512), B256((i) + 768)
#define B5K(i) B1K(i), B1K((i) + 1024), B1K((i) + 2048), B1K((i) + 3072), B1K((i) + 4096)
#define B30K(i) B5K(i), B5K((i) + 5120), B5K((i) + 10240), B5K((i) + 15360), B5K((i) + 20480), B5K((i) + 25600)
#define TABLE(i) { B30K(i) }

__attribute__((used)) const uint8_t table0[30720] PROGMEM = TABLE(0);
__attribute__((used)) const uint8_t table1[30720] PROGMEM = TABLE(30720ul);
__attribute__((used)) const uint8_t table2[30720] PROGMEM = TABLE(61440ul);

uint8_t EEMEM calibration[300] = {0x11, 0x22, 0x33, 0x44};
uint32_t EEMEM serial = 0x12345678;

volatile uint8_t sink;

int main(void) {
  uint32_t sum = eeprom_read_dword(&serial);
  for (uint16_t i = 0; i < sizeof table2; i += 97) sum += pgm_read_byte_far(pgm_get_far_address(table2) + i);
  for (uint16_t i = 0; i < sizeof table0; i += 89) sum += pgm_read_byte_far(pgm_get_far_address(table0) + i);
  sink = (uint8_t)sum;
  DDRA = 0xFF;
  for (;;) PORTA = sink++;
}
