/* The board access library: FPGA register bus, SPI flash and the cards behind the output ports.
 *
 * All operations return 0 on success, non-zero on failure, and may be called from any thread; each is atomic for the
 * bytes of its one call. */
#ifndef KADREND_PLATFORM_BOARDACCESS_H
#define KADREND_PLATFORM_BOARDACCESS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Card request header: packed, little-endian, 18 bytes. */
#pragma pack(push, 1)
typedef struct recvcard_mesg {
  uint8_t DeviceType;    /* 1 receiving card, 2 multi-function card, 3 distribution box, 4 3D launcher */
  uint8_t ProtAddr;      /* output port 0..15, 255: all ports */
  uint16_t BoardAddr;    /* card on the port's chain, 0xFFFF: all cards */
  uint8_t code;          /* 0 read, 1 write */
  uint8_t PacketType;    /* 0 */
  uint32_t RegisterAddr; /* card register start address */
  uint16_t length;       /* number of data bytes */
  uint32_t data;         /* 0: the data travels as an argument of its own */
  uint16_t checksum;     /* sum of bytes 0..11, for a write also of the data, modulo 65 536 */
} RECVCARD_MESG_T;
#pragma pack(pop)

/* Prepares the path on which the FPGA sends its reports. Negative on failure. */
int FPGA_UDP_Init(void);

/* Opens the flash. Must succeed before any other flash operation can. */
int Flash_Init(void);

/* FPGA registers and memory: one byte an address, 0x00000000..0x0FFFFFFF; bus 1 is the main bus. */
int WriteFPGABlock(int bus, uint32_t addr, uint16_t length, const uint8_t* data);
int ReadFPGABlock(int bus, uint32_t addr, uint16_t length, uint8_t* data);

/* Flash: 32 MiB, byte addresses. A write erases and programs as needed, and returns when the data is safe; one that a
 * loss of power cuts short has written its bytes up to some point and left the others as they were. The factory
 * scratch image has the same layout and must have been made by the factory reset's copy. */
int ReadDataFromFlashx(uint32_t addr, uint32_t length, uint8_t* data);
int WriteDataToFlashx(uint32_t addr, uint32_t length, const uint8_t* data);
int WriteDataToFactoryTmpFlashx(uint32_t addr, uint32_t length, const uint8_t* data);

/* What the flash holds, for the daemon's own bookkeeping of its saves: as ReadDataFromFlashx, but no access that the
 * virtual board counts or lets fail on request. */
int board_flash_peek(uint32_t addr, uint32_t length, uint8_t* data);

/* One transaction with the cards that the header names, over its output port. A read fills header->length bytes. */
int ReadFPGAformRecvCard(int bus, const RECVCARD_MESG_T* header, uint8_t port, uint8_t* data);
int WriteFPGAToRecvCard(int bus, const RECVCARD_MESG_T* header, uint8_t port, const uint8_t* data);

#ifdef __cplusplus
}
#endif
#endif
