// Adapter power-up and power-down around a programming run: target power,
// buffer enable, reset released at the end. power_down runs once.
#pragma once

void power_up();
void power_down();
