// Measures the transfer speed of the FPGA bus over the position memory: 10 measurements of 65 535 transfers each, their
// figures on standard output. It leaves the memory as it was. Request thread; it takes as long as it takes.
#pragma once

#include <cstddef>

namespace TIRK_MCUC {

constexpr size_t kTransferSpeedScratch = 16384;

enum class TransferDirection { Write, Read };

// `length` bytes a transfer, 1..16 384. 0; -1 when a transfer failed, or what is there could not be read beforehand.
int measureTransferSpeed(TransferDirection direction, size_t length);

}  // namespace TIRK_MCUC
