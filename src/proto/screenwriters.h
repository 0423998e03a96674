// Steps that the screen calculations and the boot restore share. Worker or flag thread; none takes a lock for longer
// than a copy.
#pragma once

#include <array>
#include <cstdint>

#include "proto/mosaicgeometry.h"
#include "proto/screentables.h"

namespace TIRK_MCUC {

using CardCounts = std::array<uint16_t, kDataPorts>;
constexpr size_t kScreenRecordLength = 15;
using ScreenRecord = std::array<uint8_t, kScreenRecordLength>;

// The persisted part of ScreenParaReg after a calculation: kind 1, valid, and the card size; the rest 0.
ScreenRecord calculatedScreenRecord(CardSize card);

// Stores the counts in a number table, each with its line.
void storeCardCounts(const CardCounts& counts, MutableBytes table);

// The counts that a number table holds.
CardCounts storedCardCounts(Bytes table);

// Writes the counts to the FPGA, low byte then high byte; the failures are one Error line.
void writeCardCounts(const CardCounts& counts);

// Writes one port's table to the FPGA in four blocks of 1024 bytes. 0, or the code of the last block that failed.
int writePortTable(unsigned port, Bytes table);

// Writes roles, sizes and port blocks to the FPGA: what a calculation ends with. `operation` names it in the Error
// line.
void writePortsAndRoles(const char* operation);

// Writes display offsets of 0 to the FPGA and clears their mirror. `failure` is the whole Error line.
void clearDisplayOffsets(const char* failure);

// Stores the screen size (0x1EC and 0x24 on); the four bytes as stored. Requires 0..65 535 each.
std::array<uint8_t, 4> publishScreenSize(uint32_t width, uint32_t height);

}  // namespace TIRK_MCUC
