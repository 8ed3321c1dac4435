#pragma once
// NSColor(KQFoundation): colours from hex text, darkening, and the colour as
// the graphics library takes it, as members of kq::Color.
//
// static Color colorWithHexString(std::string_view text);
//   Reads up to four two-digit hexadecimal numbers from the start of the text
//   (red, green, blue, alpha; scanf's "%02x%02x%02x%02x"), each divided by
//   255 into a calibrated RGB colour. With exactly three numbers alpha is 1;
//   numbers that are missing are 0, so "ff" is transparent red and junk is
//   transparent black. Never fails.
// Color darknedBy(double amount) const;
//   The device colour with the receiver's hue, saturation and alpha and its
//   brightness (in the calibrated space) less `amount`. Not clamped: a
//   negative brightness gives negative components, which paint as black.
// CGColor CGColorObject() const;
//   The colour's RGBA components for cairo. Every system release gives the
//   same components.
#include "KQFoundation/Graphics/Color.h"
