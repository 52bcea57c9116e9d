// SPDX-License-Identifier: MIT
// Sequences of calls on one handle, chosen by the fuzzer.
#pragma once

#include "Invariants.h"

#include <fuzzer/FuzzedDataProvider.h>

namespace fuzz {

constexpr VideoPicType kNoType = static_cast<VideoPicType>(77);

template <typename Record>
Record Unwritten()
{
    Record record;
    std::memset(&record, 0xEE, sizeof record);
    return record;
}

template <typename Record>
bool IsUnwritten(const Record& record)
{
    const Record same = Unwritten<Record>();
    return std::memcmp(&record, &same, sizeof record) == 0;
}

// Any of the fifteen functions in any order, on handles of either kind. Buffers come from `next` and are
// freed as soon as the interface allows.
class Operations {
public:
    Operations(FuzzedDataProvider& choices, VideoCodecType codec, bool parsing)
        : choices_(choices), codec_(codec), parsing_(parsing)
    {
        Create();
    }

    ~Operations() { Release(); }
    Operations(const Operations&) = delete;
    Operations& operator=(const Operations&) = delete;

    void Call(const Bytes& input, const Bytes& second)
    {
        const u32 which = choices_.ConsumeIntegralInRange<u32>(0, 12);
        // A new walk, or the reading of another buffer, ends the walk: from now on its buffer must not be
        // read.
        const bool refused =
            (which == 7 && (input.empty() || second.empty())) || (which == 8 && input.empty());
        if (which != 5 && which < 9 && !refused)
            walked_.reset();
        switch (which) {
        case 0:
        case 1: return Read(input);
        case 2: return Test(input);
        case 3: return Query(input);
        case 4: return BeginWalk(input);
        case 5: return Walk();
        case 6: return Split(input);
        case 7: return Import(input, second);
        case 8: return Export(input);
        case 9:
            Release();
            codec_ = choices_.ConsumeBool() ? VideoCodecAVC : VideoCodecHEVC;
            parsing_ = choices_.ConsumeBool();
            return Create();
        default: return Edit(which - 10, choices_.ConsumeBool() ? lastOut_ : input, second);
        }
    }

private:
    void Create()
    {
        const u32 count = choices_.ConsumeIntegralInRange<u32>(2, 5);
        const u32 size = choices_.ConsumeIntegralInRange<u32>(1, 3000);
        const Status status =
            parsing_ ? ParseCreate(&handle_, codec_, count, size) : UserDataCreate(&handle_, codec_);
        REQUIRE(status == 0 && handle_ != nullptr);
    }

    void Release()
    {
        REQUIRE((parsing_ ? UserDataRelease(handle_) : ParseRelease(handle_)) == -1);
        REQUIRE((parsing_ ? ParseRelease(handle_) : UserDataRelease(handle_)) == 0);
        walked_.reset();
    }

    void Read(const Bytes& input)
    {
        Reported report;
        const auto copy = input.Exact();
        const u8* const data = choices_.ConsumeBool() ? copy.get() : nullptr;
        report.status = ParseVideoParams(handle_, data, input.Size(), &report.info);
        if (!parsing_) {
            REQUIRE(report.status == -1 && AllFieldsAre(kUnwritten, report.info));
            return;
        }
        if (report.info.frameAvailable == 1)
            report.frame = Bytes(report.info.frameData, report.info.frameData + report.info.frameSize);
        CheckReport(Base(), report);
        REQUIRE(data != nullptr || report.status == 0);
    }

    void Test(const Bytes& input)
    {
        auto verdict = Unwritten<VideoInfoEx>();
        const Status status = VideoSampleTest(handle_, input.Exact().get(), input.Size(), &verdict);
        REQUIRE(parsing_ || (status == -1 && IsUnwritten(verdict)));
        REQUIRE(!parsing_ || (status == 0 || status == -1));
        REQUIRE(!parsing_ || (verdict.discontinuity <= 1 && verdict.isFramePicture <= 1));
        REQUIRE(!parsing_ || (verdict.intraPicture <= 1 && (Avc() || verdict.isFramePicture == 0)));
    }

    void Query(const Bytes& input)
    {
        VideoPicType type = kNoType;
        const Status status = QueryType(handle_, input.Exact().get(), input.Size(), type);
        REQUIRE(parsing_ || (status == -1 && type == kNoType));
        REQUIRE(!parsing_ || (Avc() ? type != kNoType || status == 0 : status == -1));
    }

    void BeginWalk(const Bytes& input)
    {
        auto buffer = input.Exact();
        const Status status = SetVideoData(handle_, buffer.get(), input.Size());
        REQUIRE(status == (Avc() && !parsing_ ? -1 : 0));
        if (Avc() && parsing_) {
            walked_ = std::move(buffer);
            walkedSize_ = input.Size();
        }
    }

    void Walk()
    {
        u8* nal = reinterpret_cast<u8*>(&nal);
        u32 size = kUnwritten, headerSize = kUnwritten;
        bool isSlice = true;
        const Status status = GetNalUnit(handle_, &nal, &size, &isSlice, &headerSize);
        if (!Avc() || !parsing_) {
            REQUIRE(status == (Avc() ? -1 : 0) && size == kUnwritten && isSlice && headerSize == kUnwritten);
            return;
        }
        REQUIRE(status == 0 || (nal == nullptr && size == 0 && !isSlice && headerSize == 0));
        REQUIRE(status == -1 || walked_ != nullptr);
        if (status == -1)
            return;
        const u8* const end = walked_.get() + walkedSize_;
        REQUIRE(nal >= walked_.get() && size >= 4 && nal + size <= end);
        REQUIRE(isSlice || headerSize == 0);
        // Each two zeros are counted with an 03 behind them, also where the NAL unit lacks it.
        REQUIRE(headerSize <= size + size / 2);
    }

    void Split(const Bytes& input)
    {
        const auto copy = input.Exact();
        u8** nals = reinterpret_cast<u8**>(&nals);
        u32 count = kUnwritten, *sizes = &count;
        const Status status = GetNalFromFrame(handle_, copy.get(), input.Size(), &count, &nals, &sizes);
        if (!Avc() || !parsing_) {
            REQUIRE(status == (Avc() ? -1 : 0) && count == kUnwritten && sizes == &count);
            return;
        }
        const std::vector<Bytes> units = SplitNalUnits(input);
        REQUIRE(status == (input.size() > 4 && units.empty() ? -1 : 0) && count == units.size());
        for (u32 i = 0; i < count; ++i)
            REQUIRE(units[i] == Bytes(nals[i], nals[i] + sizes[i]));
    }

    void Import(const Bytes& sps, const Bytes& pps)
    {
        const auto spsCopy = sps.Exact(), ppsCopy = pps.Exact();
        const Status status =
            SetParameterSetData(handle_, spsCopy.get(), sps.Size(), ppsCopy.get(), pps.Size());
        if (sps.empty() || pps.empty() || (Avc() && !parsing_))
            REQUIRE(status == -1);
        else
            REQUIRE(status == 0 || (Avc() && status == -1));
    }

    void Export(const Bytes& input)
    {
        auto sets = Unwritten<ParameterSetData>();
        const Status status = GetParameterSetData(handle_, input.Exact().get(), input.Size(), &sets);
        if (!Avc() || !parsing_ || input.empty()) {
            REQUIRE(IsUnwritten(sets) && status == (Avc() || input.empty() ? -1 : 0));
            return;
        }
        Bytes last[2];
        for (const Bytes& unit : SplitNalUnits(input))
            if (unit.size() > CodeSize(unit) && unit.size() <= 1024)
                if (const u32 type = unit[CodeSize(unit)] & 0x1F; type == 7 || type == 8)
                    last[type - 7] = unit;
        REQUIRE(sets.vpsData == nullptr && sets.vpsSize == 0);
        REQUIRE(Bytes(sets.spsData, sets.spsData + sets.spsSize) == last[0]);
        REQUIRE(Bytes(sets.ppsData, sets.ppsData + sets.ppsSize) == last[1]);
    }

    // The buffer that the handle handed out may come back as it is; then the frame is not copied.
    void Edit(u32 which, const Bytes& frame, const Bytes& data)
    {
        const u8* out = reinterpret_cast<const u8*>(&out);
        const u8* const before = out;
        u32 size = kUnwritten;
        const auto frameCopy = frame.Exact(), dataCopy = data.Exact();
        Status status = -1;
        if (which == 0)
            status =
                AddUserData(handle_, frameCopy.get(), frame.Size(), dataCopy.get(), data.Size(), &out, &size);
        else if (which == 1)
            status = GetUserData(handle_, frameCopy.get(), frame.Size(), &out, &size);
        else
            status = RemoveUserData(handle_, frameCopy.get(), frame.Size(), &out, &size);
        REQUIRE(!parsing_ || (status == -1 && out == before && size == kUnwritten));
        if (parsing_ || out == before)
            return;
        REQUIRE(out != nullptr || size == 0);
        Touch(out, size);
        if (which != 1)
            lastOut_ = Bytes(out, out + size);
        // Into its own output nothing is written, out of it the other two may read.
        const u8* inner = nullptr;
        u32 innerSize = 0;
        if (which == 0 && size != 0) {
            REQUIRE(AddUserData(handle_, out, size, nullptr, 0, &inner, &innerSize) == -1 &&
                    inner == nullptr);
            RemoveUserData(handle_, out, size, &inner, &innerSize);
            Touch(inner, innerSize);
            GetUserData(handle_, out, size, &inner, &innerSize);
            Touch(inner, innerSize);
        } else if (which == 2 && size != 0) {
            REQUIRE(RemoveUserData(handle_, out, size, &inner, &innerSize) == -1 && inner == nullptr);
        }
    }

    CParserBase& Base() const { return *static_cast<CParserBase*>(handle_); }
    bool Avc() const { return codec_ == VideoCodecAVC; }

    FuzzedDataProvider& choices_;
    VideoCodecType codec_;
    bool parsing_;
    void* handle_ = nullptr;
    std::unique_ptr<u8[]> walked_ = nullptr; // alive as long as the walk
    u32 walkedSize_ = 0;
    Bytes lastOut_ = {};
};

} // namespace fuzz
