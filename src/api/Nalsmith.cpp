// SPDX-License-Identifier: MIT
// The exported functions: check the handle, forward, nothing else.
#include "nalsmith/nalsmith.h"

#include "parser/VideoParams.h"

#include <new>

using namespace nalsmith_internal;

namespace {

CParserBase* ParserOf(void* handle)
{
    return static_cast<CParserBase*>(handle);
}

CParserBase* MakeParser(VideoCodecType codecType)
{
    switch (codecType) {
    case VideoCodecAVC: return new (std::nothrow) CParseAVCParams;
    case VideoCodecHEVC: return new (std::nothrow) CParseHEVCParams;
    default: return nullptr;
    }
}

} // namespace

Status ParseCreate(void** handle, VideoCodecType codecType, u32 queueCount, u32 queueBufferSize)
{
    if (handle == nullptr)
        return kFailed;
    *handle = nullptr;
    CParserBase* parser = MakeParser(codecType);
    if (parser == nullptr)
        return kFailed;
    parser->SetBufferConfig(queueCount, queueBufferSize);
    const Status status = parser->Create();
    if (status != kOk) {
        parser->Release();
        delete parser;
        return status;
    }
    *handle = parser;
    return kOk;
}

Status ParseRelease(void* handle)
{
    if (handle == nullptr || ParserOf(handle)->queue == nullptr)
        return kFailed; // no handle, or a user-data handle
    ParserOf(handle)->Release();
    delete ParserOf(handle);
    return kOk;
}

Status SetParameterSetData(void* handle, u8* sps, u32 spsSize, u8* pps, u32 ppsSize)
{
    if (handle == nullptr || sps == nullptr || spsSize == 0 || pps == nullptr || ppsSize == 0)
        return kFailed;
    return ParserOf(handle)->SetParameterSetData(sps, spsSize, pps, ppsSize);
}

Status GetParameterSetData(void* handle, u8* frame, u32 frameSize, ParameterSetData* result)
{
    if (handle == nullptr || frame == nullptr || frameSize == 0 || result == nullptr)
        return kFailed;
    return ParserOf(handle)->GetParameterSetData(frame, frameSize, result);
}

Status ParseVideoParams(void* handle, const u8* data, u32 size, VideoInfo* info)
{
    return handle != nullptr ? ParserOf(handle)->ReadVideoParams(data, size, info, 0) : kFailed;
}

Status VideoSampleTest(void* handle, const u8* data, u32 size, VideoInfoEx* info)
{
    return handle != nullptr ? ParserOf(handle)->VideoSampleTest(data, size, info) : kFailed;
}

Status QueryType(void* handle, const u8* data, u32 size, VideoPicType& type)
{
    return handle != nullptr ? ParserOf(handle)->QuerySliceType(data, size, type) : kFailed;
}

Status SetVideoData(void* handle, u8* data, u32 size)
{
    return handle != nullptr ? ParserOf(handle)->SetVideoData(data, size) : kFailed;
}

Status GetNalUnit(void* handle, u8** nal, u32* nalSize, bool* isSlice, u32* sliceHeaderSize)
{
    return handle != nullptr ? ParserOf(handle)->GetNalUnit(nal, nalSize, isSlice, sliceHeaderSize) : kFailed;
}

Status GetNalFromFrame(void* handle, u8* frame, u32 frameSize, u32* count, u8*** nals, u32** sizes)
{
    return handle != nullptr ? ParserOf(handle)->GetNalFromFrame(frame, frameSize, count, nals, sizes)
                             : kFailed;
}

Status UserDataCreate(void** handle, VideoCodecType codecType)
{
    if (handle == nullptr)
        return kFailed;
    *handle = nullptr;
    CParserBase* parser = MakeParser(codecType);
    if (parser == nullptr)
        return kFailed;
    const Status status = parser->UserDataCreate();
    if (status != kOk) {
        parser->UserDataRelease();
        delete parser;
        return status;
    }
    *handle = parser;
    return kOk;
}

Status UserDataRelease(void* handle)
{
    if (handle == nullptr || ParserOf(handle)->userDataBuffer == nullptr)
        return kFailed; // no handle, or a parsing handle
    ParserOf(handle)->UserDataRelease();
    delete ParserOf(handle);
    return kOk;
}

Status AddUserData(void* handle, const u8* frame, u32 frameSize, const u8* data, u32 dataSize,
                   const u8** outFrame, u32* outSize)
{
    return handle != nullptr
               ? ParserOf(handle)->AddUserData(frame, frameSize, data, dataSize, outFrame, outSize)
               : kFailed;
}

Status GetUserData(void* handle, const u8* frame, u32 frameSize, const u8** outData, u32* outSize)
{
    return handle != nullptr ? ParserOf(handle)->GetUserData(frame, frameSize, outData, outSize) : kFailed;
}

Status RemoveUserData(void* handle, const u8* frame, u32 frameSize, const u8** outFrame, u32* outSize)
{
    return handle != nullptr ? ParserOf(handle)->RemoveUserData(frame, frameSize, outFrame, outSize)
                             : kFailed;
}
