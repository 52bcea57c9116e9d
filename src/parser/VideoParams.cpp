// SPDX-License-Identifier: MIT
// Making and unmaking of the objects, and the operations that a codec leaves alone.
#include "parser/VideoParams.h"

#include "parser/records/ParameterSetTable.h"
#include "support/Memory.h"

#include <new>

namespace nalsmith_internal {

namespace {

u8* MakeParameterSetCopy(u32& length)
{
    length = 0;
    return memory::Allocate<u8>(kParameterSetCopySize);
}

} // namespace

void CParserBase::SetBufferConfig(u32 count, u32 bufferSize)
{
    if (count != 0)
        queueCount = count;
    if (bufferSize != 0)
        queueBufferSize = bufferSize;
}

Status CParserBase::Create()
{
    rbspBuffer = memory::Allocate<u8>(rbspBufferSize);
    if (rbspBuffer == nullptr)
        return kFailed;

    if (queueCount != 0 && queueBufferSize != 0) {
        queue = new (std::nothrow) CVideoQueue;
        if (queue == nullptr || queue->Create(queueCount, queueBufferSize) != kOk) {
            Release();
            return kFailed;
        }
    }

    vpsCopy = MakeParameterSetCopy(vpsCopyLength);
    spsCopy = MakeParameterSetCopy(spsCopyLength);
    ppsCopy = MakeParameterSetCopy(ppsCopyLength);
    if (vpsCopy == nullptr || spsCopy == nullptr || ppsCopy == nullptr) {
        Release();
        return kFailed;
    }
    return kOk;
}

Status CParserBase::Release()
{
    memory::Free(rbspBuffer);
    if (queue != nullptr) {
        queue->Close();
        delete queue;
        queue = nullptr;
    }
    memory::Free(vpsCopy);
    memory::Free(spsCopy);
    memory::Free(ppsCopy);
    memory::Free(nalList);
    memory::Free(nalSizeList);
    return kOk;
}

Status CParserBase::ReadVideoParams(const u8*, u32, VideoInfo*, int)
{
    return kOk;
}

Status CParserBase::VideoSampleTest(const u8*, u32, VideoInfoEx*)
{
    return kOk;
}

Status CParserBase::QuerySliceType(const u8*, u32, VideoPicType&)
{
    return kOk;
}

Status CParserBase::SetVideoData(u8*, u32)
{
    return kOk;
}

Status CParserBase::GetNalUnit(u8**, u32*, bool*, u32*)
{
    return kOk;
}

Status CParserBase::GetNalFromFrame(u8*, u32, u32*, u8***, u32**)
{
    return kOk;
}

Status CParserBase::AddUserData(const u8*, u32, const u8*, u32, const u8**, u32*)
{
    return kOk;
}

Status CParserBase::GetUserData(const u8*, u32, const u8**, u32*)
{
    return kOk;
}

Status CParserBase::RemoveUserData(const u8*, u32, const u8**, u32*)
{
    return kOk;
}

Status CParserBase::SetParameterSetData(u8*, u32, u8*, u32)
{
    return kOk;
}

Status CParserBase::GetParameterSetData(u8*, u32, ParameterSetData*)
{
    return kOk;
}

Status CParseAVCParams::Create()
{
    const Status status = CParserBase::Create();
    currentInfo = {};
    pendingInfo = {};
    streamInfo = {};
    spsNal = memory::Allocate<u8>(spsCapacity);
    if (spsNal == nullptr)
        return kFailed;
    ppsNal = memory::Allocate<u8>(ppsCapacity);
    if (ppsNal == nullptr)
        return kFailed;
    return status;
}

Status CParseAVCParams::Release()
{
    records::Clear(spsTable);
    records::Clear(ppsTable);
    memory::Free(spsNal);
    memory::Free(ppsNal);
    return CParserBase::Release();
}

Status CParseHEVCParams::Create()
{
    const Status status = CParserBase::Create();
    currentInfo = {};
    pendingInfo = {};
    const auto make = [](u8*& nal, u32 capacity) {
        nal = memory::Allocate<u8>(capacity);
        return nal != nullptr;
    };
    const bool made = make(vpsNal, vpsCapacity) && make(spsNal, spsCapacity) && make(ppsNal, ppsCapacity);
    return made ? status : kFailed;
}

Status CParseHEVCParams::Release()
{
    records::Clear(vpsTable);
    records::Clear(spsTable);
    records::Clear(ppsTable);
    memory::Free(vpsNal);
    memory::Free(spsNal);
    memory::Free(ppsNal);
    return CParserBase::Release();
}

} // namespace nalsmith_internal
