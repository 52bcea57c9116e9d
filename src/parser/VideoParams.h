// SPDX-License-Identifier: MIT
// The objects behind the handles: what both codecs share, and the two codec parsers. What they do stands in
// the folders beside this file, named with each group of members.
//
// The members' order and widths and the order of the virtual operations are fixed: a class has one access
// section, no member and no virtual operation is added.
#pragma once

#include "nalsmith/nalsmith.h"
#include "parser/records/AvcRecords.h"
#include "parser/records/HevcRecords.h"
#include "parser/records/NalUnit.h"
#include "queue/VideoQueue.h"
#include "support/Types.h"

namespace nalsmith_internal {

namespace stream {
class AccessUnit;
}
namespace avc {
struct NalHeader;
}
namespace hevc {
struct NalHeader;
}
namespace userdata {
struct Codec;
}

// Bytes of each of the three copies of parameter sets that are handed out.
constexpr u32 kParameterSetCopySize = 1024;

class CParserBase {
public:
    CParserBase() = default;
    CParserBase(const CParserBase&) = delete;
    CParserBase& operator=(const CParserBase&) = delete;

    // Frees no buffer: Release() or UserDataRelease() comes first.
    virtual ~CParserBase() = default;
    virtual Status Create();
    virtual Status Release();
    virtual Status ReadVideoParams(const u8* data, u32 size, VideoInfo* info, int mode);
    virtual Status VideoSampleTest(const u8* data, u32 size, VideoInfoEx* info);
    virtual Status QuerySliceType(const u8* data, u32 size, VideoPicType& type);
    virtual Status SetVideoData(u8* data, u32 size);
    virtual Status GetNalUnit(u8** nal, u32* nalSize, bool* isSlice, u32* sliceHeaderSize);
    virtual Status GetNalFromFrame(u8* frame, u32 size, u32* count, u8*** nals, u32** sizes);
    virtual Status UserDataCreate();
    virtual Status UserDataRelease();
    virtual Status AddUserData(const u8* frame, u32 frameSize, const u8* data, u32 dataSize,
                               const u8** outFrame, u32* outSize);
    virtual Status GetUserData(const u8* frame, u32 frameSize, const u8** outData, u32* outSize);
    virtual Status RemoveUserData(const u8* frame, u32 frameSize, const u8** outFrame, u32* outSize);
    virtual Status SetParameterSetData(u8* sps, u32 spsSize, u8* pps, u32 ppsSize);
    virtual Status GetParameterSetData(u8* frame, u32 size, ParameterSetData* result);

    // Before Create(). A zero leaves the setting as it is.
    void SetBufferConfig(u32 count, u32 bufferSize);

    // bitstream/NalScan.cpp: the NAL units of one buffer, one after another. The end of the buffer is status
    // 0 with untouched outputs.
    Status SetData(const u8* data, u32 size);
    void Reset();
    static const u8* GetStartCode(const u8* p, u32 n);
    Status GetNalData(const u8** nal, u32* nalSize, const u8** rbsp, u32* rbspSize);
    Status GetNalDataEx(const u8** nal, u32* nalSize);
    // The same in a record that is cleared first, so that the end of the buffer is seen in it.
    Status NextNal(NalUnit& nal);
    Status NextNalEx(NalUnit& nal);  // without the payload
    Status PeekNal(NalUnit& nal);    // without the end; the NAL unit stays the next
    void EndNal(NalUnit& nal);       // finds the end of what PeekNal() found, and moves on
    bool Unescape(NalUnit& nal);     // adds the payload; false for lack of memory
    bool UnescapeHead(NalUnit& nal); // adds what a slice header may take of it
    bool CompleteHead(NalUnit& nal); // adds the whole payload where the head did not suffice

    // bitstream/EmulationPrevention.cpp
    Status GetRbspData(const u8* src, u32 size, u8** out, u32* outSize);
    static Status AddEscape(const u8* src, u32 size, u8* dst, u32* outLen);

    // bitstream/BitReader.cpp: behind the end of the data every bit is 0. Whole structures are read with
    // bitstream::Reading.
    void InitReadData(const u8* data, u32 size)
    {
        readPtr = data;
        readRemaining = size;
        bitPosition = 0;
    }
    u32 ReadData(u32 n);
    u32 GetUE();
    i32 GetSE();
    Status GetDataPtr(u8** p) const;

    // userdata/: one message built; the three operations of either codec.
    Status ArrangeUserData(const u8* data, u32 length);
    Status InsertUserData(const userdata::Codec& codec, const u8* frame, u32 frameSize, const u8* data,
                          u32 dataSize, const u8** outFrame, u32* outSize);
    Status FindUserData(const userdata::Codec& codec, const u8* frame, u32 frameSize, const u8** outData,
                        u32* outSize);
    Status StripUserData(const userdata::Codec& codec, const u8* frame, u32 frameSize, const u8** outFrame,
                         u32* outSize);

    CVideoQueue* queue = nullptr; // access units; made by Create(), so only a parsing handle has one

    // The user-data message under construction, and the frame or payload last handed out. Only a user-data
    // handle has them.
    u8* userDataBuffer = nullptr;
    u32 userDataBufferSize = 1024;
    u32 userDataLength = 0;
    u8* userFrameBuffer = nullptr;
    u32 userFrameBufferSize = 3000000;
    u32 userPayloadLength = 0;

    // Copies of parameter sets handed out, kParameterSetCopySize bytes each (avc/AvcParameterSets.cpp).
    u8* vpsCopy = nullptr;
    u32 vpsCopyLength = 0;
    u8* spsCopy = nullptr;
    u32 spsCopyLength = 0;
    u8* ppsCopy = nullptr;
    u32 ppsCopyLength = 0;

    // Lists of NAL units handed out, in entries (avc/AvcParameterSets.cpp).
    u32 nalListCapacity = 0;
    u8** nalList = nullptr;
    u32* nalSizeList = nullptr;

    // User-data removal: the messages of one SEI NAL unit that stay, the same escaped, the frame handed out.
    u8* seiKeepBuffer = nullptr;
    u32 seiKeepBufferSize = 1024;
    u32 seiKeepLength = 0;
    u8* seiEscapeBuffer = nullptr;
    u32 seiEscapeBufferSize = 1024;
    u32 seiEscapeLength = 0;
    u8* removeFrameBuffer = nullptr;
    u32 removeFrameBufferSize = 100000;
    u32 removeFrameLength = 0;

    // Scanner (bitstream/NalScan.cpp).
    const u8* streamData = nullptr; // the buffer
    u32 streamRemaining = 0;        // bytes from the scan position to its end

    u32 queueCount = 6;
    u32 queueBufferSize = 100000;

    const u8* nalCursor = nullptr; // start code of the next NAL unit; null: search from the buffer's start
    const u8* nextStartCode = nullptr; // start code that ends the NAL unit last handed out

    // Payload of the NAL unit last handed out (bitstream/EmulationPrevention.cpp).
    u8* rbspBuffer = nullptr;
    u32 rbspBufferSize = 1024;

    // Bit reader (bitstream/BitReader.cpp).
    const u8* readPtr = nullptr; // byte that holds the next bit
    u32 readRemaining = 0;       // bytes from there to the end
    u32 bitPosition = 0;         // bits of that byte already consumed
};

// H.264.
class CParseAVCParams final : public CParserBase {
public:
    Status Create() override;
    Status Release() override;
    Status ReadVideoParams(const u8* data, u32 size, VideoInfo* info, int mode) override;
    Status VideoSampleTest(const u8* data, u32 size, VideoInfoEx* info) override;
    Status QuerySliceType(const u8* data, u32 size, VideoPicType& type) override;
    Status SetVideoData(u8* data, u32 size) override;
    Status GetNalUnit(u8** nal, u32* nalSize, bool* isSlice, u32* sliceHeaderSize) override;
    Status GetNalFromFrame(u8* frame, u32 size, u32* count, u8*** nals, u32** sizes) override;
    Status AddUserData(const u8* frame, u32 frameSize, const u8* data, u32 dataSize, const u8** outFrame,
                       u32* outSize) override;
    Status GetUserData(const u8* frame, u32 frameSize, const u8** outData, u32* outSize) override;
    Status RemoveUserData(const u8* frame, u32 frameSize, const u8** outFrame, u32* outSize) override;
    Status SetParameterSetData(u8* sps, u32 spsSize, u8* pps, u32 ppsSize) override;
    Status GetParameterSetData(u8* frame, u32 size, ParameterSetData* result) override;

    // avc/AvcSps.cpp, avc/AvcPps.cpp, avc/AvcSlice.cpp: the reader stands behind the NAL unit header.
    Status ReadSequenceParameterSetData(VideoInfo* info);
    Status ReadPictureParameterSetData(VideoInfo* info);
    Status ReadSliceHeaderData(VideoInfo* info, u32 nalUnitType, u32 nalRefIdc, int* newPicture);

    // avc/AvcSample.cpp: what stream::TestSample() asks for. True when the test has ended, with `status`.
    bool TestNalUnit(NalUnit& nal, VideoInfoEx& info, Status& status);

    // avc/AvcNal.h
    avc::NalHeader ReadNalHeader(const NalUnit& nal);

    // avc/AvcStream.cpp: what stream::ReadPiece() asks for.
    Status ReadSlice(const avc::NalHeader& header, NalUnit& nal, int* newPicture);
    void RouteNalUnit(stream::AccessUnit& unit, const avc::NalHeader& header, NalUnit& nal, VideoInfo& info);
    void CompleteAccessUnit(stream::AccessUnit& unit, VideoInfo& info);

    // Parameter sets by id.
    AvcSpsInfo* spsTable[32] = {};
    AvcPpsInfo* ppsTable[256] = {};

    // Slice history: one for all operations of the handle.
    AvcSliceInfo prevSlice = {};
    AvcSliceInfo curSlice = {};
    u32 firstSlice = 1; // no slice header has been read yet

    // The access unit being assembled, and what opens the next one (stream/AccessUnit.h).
    VideoQueueInfo* currentSlot = nullptr;
    VideoInfo currentInfo = {};
    VideoQueueInfo* pendingSlot = nullptr;
    VideoInfo pendingInfo = {};

    // What the retained parameter sets describe; the first of the stream, or those imported.
    VideoInfo streamInfo = {};
    u8* spsNal = nullptr;
    u8* ppsNal = nullptr;
    u32 spsCapacity = 10;
    u32 ppsCapacity = 10;
    u32 spsNalSize = 0;
    u32 ppsNalSize = 0;

    // frame_num continuity (avc/AvcSample.cpp). maxFrameNum and gapsAllowed follow the last slice header
    // read.
    u32 prevRefFrameNum = 0;
    u32 curFrameNum = 0;
    u32 maxFrameNum = 0;
    u32 gapsAllowed = 0;
    u32 firstFieldIsTop = 0;
    u32 firstFieldGap = 0;
};

// H.265.
class CParseHEVCParams final : public CParserBase {
public:
    Status Create() override;
    Status Release() override;
    Status ReadVideoParams(const u8* data, u32 size, VideoInfo* info, int mode) override;
    Status VideoSampleTest(const u8* data, u32 size, VideoInfoEx* info) override;
    Status QuerySliceType(const u8* data, u32 size, VideoPicType& type) override;
    Status AddUserData(const u8* frame, u32 frameSize, const u8* data, u32 dataSize, const u8** outFrame,
                       u32* outSize) override;
    Status GetUserData(const u8* frame, u32 frameSize, const u8** outData, u32* outSize) override;
    Status RemoveUserData(const u8* frame, u32 frameSize, const u8** outFrame, u32* outSize) override;

    // hevc/HevcVps.cpp, hevc/HevcSps.cpp, hevc/HevcPps.cpp, hevc/HevcSlice.cpp: the reader stands behind the
    // NAL unit header. `nal` is the payload from that header on.
    Status ReadVideoParameterSetData(VideoInfo* info);
    Status ReadSequenceParameterSetData(VideoInfo* info);
    Status ReadPictureParameterSetData(VideoInfo* info);
    Status ReadSliceHeaderData(VideoInfo* info, u32 nalUnitType, const u8* nal, int* newPicture,
                               VideoInfoEx* sampleInfo);

    // hevc/HevcSample.cpp: what stream::TestSample() asks for. True when the test has ended, with `status`.
    bool TestNalUnit(NalUnit& nal, VideoInfoEx& info, Status& status);

    // hevc/HevcNal.h
    hevc::NalHeader ReadNalHeader(const NalUnit& nal);

    // hevc/HevcStream.cpp: what stream::ReadPiece() asks for.
    void RouteNalUnit(stream::AccessUnit& unit, const hevc::NalHeader& header, NalUnit& nal, VideoInfo& info);
    void CompleteAccessUnit(stream::AccessUnit& unit, VideoInfo& info);

    // Parameter sets by id.
    HevcVpsRecord* vpsTable[16] = {};
    HevcSpsRecord* spsTable[32] = {};
    HevcPpsRecord* ppsTable[256] = {};

    // The first parameter sets of the stream.
    u8* vpsNal = nullptr;
    u8* spsNal = nullptr;
    u8* ppsNal = nullptr;
    u32 vpsCapacity = 10;
    u32 spsCapacity = 10;
    u32 ppsCapacity = 10;
    u32 vpsNalSize = 0;
    u32 spsNalSize = 0;
    u32 ppsNalSize = 0;

    u32 firstSlice = 1; // no slice segment has been read yet

    // The access unit being assembled, and what opens the next one (stream/AccessUnit.h).
    VideoQueueInfo* currentSlot = nullptr;
    VideoInfo currentInfo = {};
    VideoQueueInfo* pendingSlot = nullptr;
    VideoInfo pendingInfo = {};

    // Picture order counts: of the last picture of the lowest temporal layer that others may refer to, and of
    // the last picture.
    i32 prevTid0Poc = 0;
    i32 picOrderCnt = 0;
};

} // namespace nalsmith_internal
