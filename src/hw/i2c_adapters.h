#pragma once
// Finding the board's SMBus adapter and its kernel driver.

// Returns 0 when the bus list could be built, -1 otherwise. Called once, at start-up, when items need the
// SMBus and no BMC carries it.
int i2cdetect();
