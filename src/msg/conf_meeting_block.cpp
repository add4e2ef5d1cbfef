// The meeting-server message block: a header, the data, and a few spare bytes that readers of the block's size count
// in.
#include <algorithm>
#include <cstring>
#include <limits>

#include "base/accounted.h"
#include "base/log.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_platform/bounds_checked.h"

namespace {

using tarn::detail::kNullPointerText;
using tarn::detail::kSecureFunctionText;

constexpr const char* kLogName = "conf_msg_api";
constexpr uint32_t kBlockOverhead = 95;
constexpr uint32_t kEmptyBlockBytes = 96;
constexpr size_t kDataOffset = offsetof(ConfMeetingServerMsgBlock, data);

constexpr uint32_t kLongestData = std::numeric_limits<uint32_t>::max() - kBlockOverhead;

// A length that no block can have comes from a broken one and counts as the largest, never as a small block.
constexpr uint32_t blockBytes(uint32_t dataLength) {
    return dataLength == 0 ? kEmptyBlockBytes : std::min(dataLength, kLongestData) + kBlockOverhead;
}

} // namespace

ConfMeetingServerMsgBlock* GenerateMeetingServerMsgBlock(const void* data, uint32_t len) {
    auto block = len > kLongestData ? tarn::detail::Accounted<ConfMeetingServerMsgBlock>()
                                    : TARN_ALLOCATE(ConfMeetingServerMsgBlock, blockBytes(len));
    if (block == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return nullptr;
    }
    std::memset(static_cast<void*>(block.get()), 0, blockBytes(len));
    block->dataLength = len;
    if (data != nullptr && len != 0) {
        const errno_t copied = memcpy_s(reinterpret_cast<uint8_t*>(block.get()) + kDataOffset, len, data, len);
        if (copied != 0) {
            TARN_LOG(CONF_LOG_ERROR, kSecureFunctionText, copied);
            return nullptr;
        }
    }
    return block.release();
}

uint32_t GetMeetingServerMsgBlockSize(const ConfMeetingServerMsgBlock* block) {
    if (block == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "msg is nullptr!");
        return 0;
    }
    return blockBytes(block->dataLength);
}
