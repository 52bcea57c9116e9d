// SPDX-License-Identifier: MIT
// User data put into a frame, found in it, stripped from it. One editor for both codecs.
#include "parser/VideoParams.h"
#include "parser/bitstream/Scan.h"
#include "parser/userdata/SeiMessages.h"
#include "parser/userdata/UserDataCodec.h"
#include "support/Memory.h"

#include <functional>

namespace nalsmith_internal {

namespace userdata {
namespace {

constexpr u8 kStartCode[] = {0, 0, 0, 1};
constexpr u8 kStopByte = 0x80;

// Start code, header and stop byte of an SEI NAL unit written here.
constexpr u32 SeiFraming(const Codec& codec)
{
    return sizeof kStartCode + codec.headerBytes + 1;
}

// Whether a frame reaches into a buffer of the handle.
bool Overlaps(const u8* frame, u32 frameSize, const u8* buffer, u32 bufferSize)
{
    const std::less<const u8*> before;
    return frame != nullptr && before(frame, buffer + bufferSize) && before(buffer, frame + frameSize);
}

// Appends to a buffer that is large enough.
class FrameWriter {
public:
    explicit FrameWriter(u8* to) : begin_(to), to_(to) {}

    void Bytes(const u8* bytes, u32 size)
    {
        memory::Copy(to_, bytes, size);
        to_ += size;
    }
    void Byte(u8 byte) { *to_++ = byte; }
    void SeiUnit(const Codec& codec, const u8* messages, u32 size)
    {
        Bytes(kStartCode, sizeof kStartCode);
        Bytes(codec.seiHeader, codec.headerBytes);
        Bytes(messages, size);
        Byte(kStopByte);
    }
    u32 Size() const { return static_cast<u32>(to_ - begin_); }

private:
    u8* begin_;
    u8* to_;
};

// Room for `size` more bytes of the frame that removal writes.
bool MakeRoom(CParserBase& parser, u64 size)
{
    const u64 need = parser.removeFrameLength + size;
    return need <= parser.removeFrameBufferSize ||
           memory::GrowTo(parser.removeFrameBuffer, parser.removeFrameBufferSize, 2 * need, need);
}

bool Keep(CParserBase& parser, const SeiMessage& message)
{
    const u64 need = u64{parser.seiKeepLength} + message.Size();
    u64 wish = parser.seiKeepBufferSize;
    while (wish < need)
        wish *= 2;
    if (wish > parser.seiKeepBufferSize &&
        !memory::GrowTo(parser.seiKeepBuffer, parser.seiKeepBufferSize, wish, need))
        return false;
    memory::Copy(parser.seiKeepBuffer + parser.seiKeepLength, message.begin, message.Size());
    parser.seiKeepLength += message.Size();
    return true;
}

// The messages of the SEI NAL unit at hand. A unit cut short within its header has none.
SeiWalk MessagesOf(const Codec& codec, const NalUnit& nal)
{
    const u32 header = nal.rbspSize < codec.headerBytes ? nal.rbspSize : codec.headerBytes;
    return {nal.rbsp + header, nal.rbspSize - header};
}

// Writes the kept messages as an SEI NAL unit of their own.
bool WriteKept(CParserBase& parser, const Codec& codec)
{
    const u64 worst = 2 * u64{parser.seiKeepLength};
    const u64 need = u64{parser.seiKeepLength} + parser.seiKeepLength / 2;
    if (worst > parser.seiEscapeBufferSize &&
        !memory::GrowTo(parser.seiEscapeBuffer, parser.seiEscapeBufferSize, worst, need))
        return false;
    parser.seiEscapeLength = 0;
    CParserBase::AddEscape(parser.seiKeepBuffer, parser.seiKeepLength, parser.seiEscapeBuffer,
                           &parser.seiEscapeLength);
    if (!MakeRoom(parser, u64{parser.seiEscapeLength} + SeiFraming(codec)))
        return false;
    FrameWriter out(parser.removeFrameBuffer + parser.removeFrameLength);
    out.SeiUnit(codec, parser.seiEscapeBuffer, parser.seiEscapeLength);
    parser.removeFrameLength += out.Size();
    return true;
}

// Writes what stays of an SEI NAL unit. False for lack of memory.
bool StripSei(CParserBase& parser, const Codec& codec, NalUnit& nal)
{
    if (!parser.Unescape(nal))
        return false;
    parser.seiKeepLength = 0;
    SeiMessage message;
    for (SeiWalk walk = MessagesOf(codec, nal); walk.Next(message);)
        if (message.payloadType != kUserDataUnregistered && !Keep(parser, message))
            return false;
    return parser.seiKeepLength == 0 || WriteKept(parser, codec);
}

bool CopyUnit(CParserBase& parser, const NalUnit& nal)
{
    if (!MakeRoom(parser, nal.size))
        return false;
    memory::Copy(parser.removeFrameBuffer + parser.removeFrameLength, nal.data, nal.size);
    parser.removeFrameLength += nal.size;
    return true;
}

} // namespace
} // namespace userdata

using userdata::Kind;

Status CParserBase::InsertUserData(const userdata::Codec& codec, const u8* frame, u32 frameSize,
                                   const u8* data, u32 dataSize, const u8** outFrame, u32* outSize)
{
    if (outFrame == nullptr || outSize == nullptr || userFrameBuffer == nullptr)
        return kFailed; // nowhere to answer, or not a user-data handle
    if ((data == nullptr && dataSize != 0) ||
        userdata::Overlaps(frame, frameSize, userFrameBuffer, userFrameBufferSize))
        return kFailed;
    if (frame == nullptr)
        frameSize = 0;
    if (ArrangeUserData(data, dataSize) != kOk)
        return kFailed;
    // Covers every outcome: the frame and one new SEI NAL unit.
    const u64 worst = u64{userDataLength} + frameSize + userdata::SeiFraming(codec);
    if (userFrameBufferSize < worst &&
        !memory::GrowTo(userFrameBuffer, userFrameBufferSize, userFrameBufferSize + worst, worst))
        return kFailed;

    userdata::FrameWriter out(userFrameBuffer);
    bool placed = false;
    const bitstream::Scan scan(*this, frame, frameSize);
    NalUnit nal;
    Status status = NextNalEx(nal);
    for (; nal.Found(); status = NextNalEx(nal)) {
        const Kind kind = userdata::KindOf(codec, nal);
        if (kind == Kind::Sei) {
            if (placed)
                userDataLength = 0; // later SEI NAL units get no copy
            const u32 stop = userdata::FindStopByte(codec, nal);
            if (stop == 0)
                return kFailed;
            out.Bytes(nal.data, stop);
            out.Bytes(userDataBuffer, userDataLength);
            out.Byte(userdata::kStopByte);
            placed = true;
            continue;
        }
        if (kind == Kind::Slice && !placed) {
            out.SeiUnit(codec, userDataBuffer, userDataLength);
            placed = true;
        }
        out.Bytes(nal.data, nal.size);
    }
    *outFrame = userFrameBuffer;
    *outSize = out.Size();
    return placed ? status : kFailed;
}

// What is found is written over the start of the output buffer, which may hold the very frame: that part of
// it has been read by then.
Status CParserBase::FindUserData(const userdata::Codec& codec, const u8* frame, u32 frameSize,
                                 const u8** outData, u32* outSize)
{
    if (outData == nullptr || outSize == nullptr || userFrameBuffer == nullptr)
        return kFailed; // nowhere to answer, or not a user-data handle
    *outData = nullptr;
    *outSize = 0;
    bool found = false;
    const bitstream::Scan scan(*this, frame, frameSize);
    NalUnit nal;
    Status status = NextNalEx(nal);
    for (; nal.Found(); status = NextNalEx(nal)) {
        if (userdata::KindOf(codec, nal) != Kind::Sei)
            continue;
        if (!Unescape(nal))
            return kFailed;
        userdata::SeiMessage message;
        for (userdata::SeiWalk walk = userdata::MessagesOf(codec, nal); walk.Next(message);) {
            if (!message.IsOurs())
                continue;
            const u32 size = message.PayloadSize() - static_cast<u32>(sizeof userdata::kUuid);
            if (size > userFrameBufferSize && !memory::GrowTo(userFrameBuffer, userFrameBufferSize, size))
                return kFailed;
            memory::Copy(userFrameBuffer, message.payload + sizeof userdata::kUuid, size);
            userPayloadLength = size;
            found = true;
        }
    }
    if (found) {
        *outData = userFrameBuffer;
        *outSize = userPayloadLength;
    }
    return status;
}

Status CParserBase::StripUserData(const userdata::Codec& codec, const u8* frame, u32 frameSize,
                                  const u8** outFrame, u32* outSize)
{
    if (outFrame == nullptr || outSize == nullptr || removeFrameBuffer == nullptr)
        return kFailed; // nowhere to answer, or not a user-data handle
    if (userdata::Overlaps(frame, frameSize, removeFrameBuffer, removeFrameBufferSize))
        return kFailed;
    *outFrame = nullptr;
    *outSize = 0;
    removeFrameLength = 0;
    const bitstream::Scan scan(*this, frame, frameSize);
    NalUnit nal;
    Status status = NextNalEx(nal);
    for (; nal.Found(); status = NextNalEx(nal)) {
        if (nal.Header() == nullptr)
            continue; // a bare start code is left out
        const bool written = userdata::KindOf(codec, nal) == Kind::Sei ? userdata::StripSei(*this, codec, nal)
                                                                       : userdata::CopyUnit(*this, nal);
        if (!written)
            return kFailed;
    }
    *outFrame = removeFrameBuffer;
    *outSize = removeFrameLength;
    return status;
}

Status CParseAVCParams::AddUserData(const u8* frame, u32 frameSize, const u8* data, u32 dataSize,
                                    const u8** outFrame, u32* outSize)
{
    return InsertUserData(userdata::kAvc, frame, frameSize, data, dataSize, outFrame, outSize);
}

Status CParseAVCParams::GetUserData(const u8* frame, u32 frameSize, const u8** outData, u32* outSize)
{
    return FindUserData(userdata::kAvc, frame, frameSize, outData, outSize);
}

Status CParseAVCParams::RemoveUserData(const u8* frame, u32 frameSize, const u8** outFrame, u32* outSize)
{
    return StripUserData(userdata::kAvc, frame, frameSize, outFrame, outSize);
}

Status CParseHEVCParams::AddUserData(const u8* frame, u32 frameSize, const u8* data, u32 dataSize,
                                     const u8** outFrame, u32* outSize)
{
    return InsertUserData(userdata::kHevc, frame, frameSize, data, dataSize, outFrame, outSize);
}

Status CParseHEVCParams::GetUserData(const u8* frame, u32 frameSize, const u8** outData, u32* outSize)
{
    return FindUserData(userdata::kHevc, frame, frameSize, outData, outSize);
}

Status CParseHEVCParams::RemoveUserData(const u8* frame, u32 frameSize, const u8** outFrame, u32* outSize)
{
    return StripUserData(userdata::kHevc, frame, frameSize, outFrame, outSize);
}

} // namespace nalsmith_internal
