#include "proto/registerspace.h"

#include <cstdio>
#include <memory>
#include <new>

#include "mcuctrace.h"
#include "proto/writerecord.h"
#include "stub/stubutil.h"

namespace TIRK_MCUC {

namespace {

// A work item with this payload; null when there is no memory for it.
std::unique_ptr<MCUProcessDataBlock> newBlock(Bytes payload) {
  try {
    auto block = std::make_unique<MCUProcessDataBlock>();
    return block->setData(payload.data(), static_cast<int>(payload.size())) ? std::move(block) : nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

int Ssh_checkFun(Fcheck_func* check, IMD_proto3rd* request) {
  const int32_t length = request->proto.m_usValidDataLength;
  if (length < check->cmdLen.cmdLenMin || length > check->cmdLen.cmdLenMax) {
    TRACE_ERROR("=== Ssh_checkFun ===Check Func: Unsupportd register max/min length.");
    return kBadLength;
  }
  const uint8_t code = request->proto.m_ucCode;
  const int32_t needed = code == kCodeRead ? kReadable : code == kCodeWrite ? kWritable : 0;
  if (needed == 0 || (check->cmdType & needed) == 0) {
    TRACE_ERROR("=== Ssh_checkFun ===Check Func: Unsupportd register type.");
    return kAccessDenied;
  }
  return kDone;
}

RegisterSpace::RegisterSpace(const SpaceTraits& traits, Fshl_cmd* table) : m_traits(traits), m_table(table) {
  initMap();
}

int RegisterSpace::initMap() {
  m_baseRegisterAddr = m_traits.baseRegisterAddr;
  for (uint32_t i = 0; m_table[i].cmd_str != nullptr; ++i)
    m_mapProtoOffsetShl[m_table[i].RegisterAddr] = {i, &m_table[i]};
  return 0;
}

int RegisterSpace::handle(IMD_proto3rd* request) {
  if (request == nullptr) return kRefused;
  if (m_mapProtoOffsetShl.empty()) initMap();
  const uint32_t key = request->proto.m_uiRegisterUnitAddress & m_traits.keyMask;
  beforeLookup(key);
  const auto found = m_mapProtoOffsetShl.find(key);
  if (found == m_mapProtoOffsetShl.end()) {
    if (m_traits.invalidAccess != nullptr) {
      TRACE_ERROR(m_traits.invalidAccess);
    } else {
      TRACE_ERROR("=== " << m_traits.className << " ===invalid register access");
    }
    return refuse(request, kUnknown);
  }
  Fshl_cmd* const entry = found->second.cmd;
  Fcheck_func check{entry->cmdType, entry->cmdLen};
  if (const int result = entry->check_fun(&check, request); result != kDone) return refuse(request, result);
  const int result = entry->called_fun(request, entry, 0);
  afterDo(result);
  return settle(request, result);
}

int RegisterSpace::print() const {
  for (const auto& [key, entry] : m_mapProtoOffsetShl) {
    std::printf("register base=0x%08X offset=0x%08X :%s\n", m_baseRegisterAddr, entry.cmd->RegisterAddr,
                entry.cmd->cmd_exp);
  }
  return 0;
}

void RegisterSpace::beforeLookup(uint32_t key) const {
  if (m_traits.logsKeyAndMap)
    TRACE_INFO("RegisterAddr = " << hex << key << " map size = " << m_mapProtoOffsetShl.size());
  if (!m_traits.listsMap) return;
  TRACE_INFO("map size = " << m_mapProtoOffsetShl.size() << " register = " << hex << key);
  for (const auto& [first, second] : m_mapProtoOffsetShl)
    TRACE_INFO("first register addr = " << hex << first << " second addr = " << hex << second.cmd->RegisterAddr);
}

int RegisterSpace::readOrWrite(IMD_proto3rd* request, Half read, Half write) {
  if (request == nullptr) return kRefused;
  switch (request->proto.m_ucCode) {
    case kCodeRead:
      return read(request);
    case kCodeWrite:
      return write(request);
    default:
      return kUnknown;
  }
}

int RegisterSpace::queueWriteRecord(IMD_proto3rd* request, _ValueChanged_Table key, const QueueTexts& texts) {
  TRACE_INFO(texts.begin);
  if (request == nullptr) {
    TRACE_ERROR("=== IMD_proto3rd ===:, msgIMD is invalid, return.");
    return kRefused;
  }
  const ThirdProtoMCUCMsg& proto = request->proto;
  if (texts.hexadecimalPrefix) {
    TRACE_INFO(" Register: 0x" << hex << static_cast<int>(proto.m_uiRegisterUnitAddress) << " len: 0x" << hex
                               << int{proto.m_usValidDataLength});
  } else {
    TRACE_INFO(" Register: " << proto.m_uiRegisterUnitAddress << " len: " << proto.m_usValidDataLength);
  }
  if (proto.m_data.empty()) {
    TRACE_ERROR(texts.invalid);
    return refuse(request, kAccessDenied);
  }
  const auto record = encodeWriteRecord(proto.m_uiRegisterUnitAddress, proto.m_usValidDataLength, proto.m_data);
  if (const int result = queuePayload(*request, key, record); result != kDone) return refuse(request, result);
  TRACE_INFO(texts.finish);
  return kDone;
}

int RegisterSpace::queuePayload(const IMD_proto3rd& request, _ValueChanged_Table key, Bytes payload) {
  if (payload.size() > MCUProcessDataBlock::kCapacity) {
    TRACE_ERROR("=== queuePayload ===payload too long, length = " << payload.size());
    return kBadLength;
  }
  auto block = newBlock(payload);
  if (block == nullptr) {
    TRACE_ERROR("=== MCUProcessDataBlock ===: new a pDataBlock, but it's NULL. return.");
    return kRefused;
  }
  block->ipcHeader = request.ipcHeader;
  block->m_key = static_cast<int32_t>(key);
  if (StubUtil::getInstance()->addMessageToList(std::move(block))) return kDone;
  TRACE_ERROR("=== queuePayload ===no worker for process key " << static_cast<uint32_t>(key));
  return kRefused;
}

int RegisterSpace::refuse(IMD_proto3rd* request, int result) {
  request->proto.m_ucAck = kAckRefused;
  return result;
}

int RegisterSpace::settle(IMD_proto3rd* request, int result) {
  return request != nullptr && result >= kRefused && result <= kAccessDenied ? refuse(request, result) : result;
}

}  // namespace TIRK_MCUC
