/* A small ATmega328P program: blinks PB5 with a delay table kept in FLASH and
   counts its starts in EEPROM. Built into small_flash.hex and small_eeprom.hex. */
#include <avr/eeprom.h>
#include <avr/io.h>
#include <avr/pgmspace.h>
#include <util/delay.h>

static const uint8_t delays[] PROGMEM = {10, 20, 40, 80, 160, 80, 40, 20};
static const char greeting[] PROGMEM = "zindle test image";

uint16_t EEMEM start_count = 0;
uint8_t EEMEM settings[24] = {1, 2, 3, 4, 5, 6, 7, 8, 0xA5, 0x5A, 0xFF, 0x00, 'E', 'E', 'P', 'R', 'O', 'M'};

volatile uint8_t sink;
uint8_t ram_copy[8] = {9, 8, 7, 6, 5, 4, 3, 2}; /* initialised data: lands after .text */

int main(void) {
  uint16_t starts = eeprom_read_word(&start_count);
  eeprom_write_word(&start_count, starts + 1);
  for (uint8_t i = 0; i < sizeof greeting; ++i) sink = pgm_read_byte(&greeting[i]);
  DDRB |= _BV(DDB5);
  for (;;) {
    for (uint8_t i = 0; i < sizeof delays; ++i) {
      PORTB ^= _BV(PORTB5);
      uint8_t d = pgm_read_byte(&delays[i]) + ram_copy[i & 7];
      while (d--) _delay_ms(1);
    }
  }
}
