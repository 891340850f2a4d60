// Adapter power-up and power-down around a programming run: target power,
// buffer enable and LEDs at the start; reset released, buffer disabled and
// power off at the end, once. Called by the program entry.
#pragma once

void power_up();
void power_down();
