#!/bin/sh
# Rebuilds the HEX files of the two AVR test programs and the raw images they
# must read back as. Needs gcc-avr, binutils-avr, avr-libc and srecord.
set -e
cd "$(dirname "$0")"
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
build() { # name mcu
  avr-gcc -mmcu="$2" -Os -DF_CPU=16000000UL -Wall -o "$out/$1.elf" "src/$1.c"
  avr-objcopy -O ihex -j .text -j .data "$out/$1.elf" "$1_flash.hex"
  avr-objcopy -O ihex -j .eeprom --change-section-lma .eeprom=0 "$out/$1.elf" "$1_eeprom.hex"
  avr-objcopy -O binary -j .text -j .data "$out/$1.elf" "$1_flash.bin"
  avr-objcopy -O binary -j .eeprom --change-section-lma .eeprom=0 "$out/$1.elf" "$1_eeprom.bin"
}
build small atmega328p
build large atmega2560
# The same FLASH data with extended linear address records, as srecord writes them.
srec_cat large_flash.hex -intel -o large_flash_linear.hex -intel -address-length=4 -line-length=76
chmod -x ./*.bin
