// SPDX-License-Identifier: MIT
// A handle of each kind, and every function on them with one buffer.
#pragma once

#include "Handles.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

// What one call left behind.
struct Answer {
    const char* function = "";
    Status status = 0;
    Bytes out = {};

    bool operator==(const Answer& other) const { return status == other.status && out == other.out; }
};

inline void PrintTo(const Answer& answer, std::ostream* out)
{
    *out << answer.function << " " << answer.status << ", ";
    PrintTo(answer.out, out);
}

inline bool IsStatus(Status status)
{
    return status == 0 || status == -1;
}

class BothHandles {
public:
    // Creating and all calls run as around(call), which returns the status of call().
    template <typename Around>
    BothHandles(VideoCodecType codec, const Around& around)
    {
        around([&] { return ParseCreate(&parsing, codec, 2, 4); });
        around([&] { return UserDataCreate(&userData, codec); });
    }
    explicit BothHandles(VideoCodecType codec) : BothHandles(codec, Plainly) {}
    ~BothHandles() { Release(Plainly); }
    BothHandles(const BothHandles&) = delete;
    BothHandles& operator=(const BothHandles&) = delete;

    template <typename Around>
    void Release(const Around& around)
    {
        around([&] { return ParseRelease(parsing); });
        around([&] { return UserDataRelease(userData); });
        parsing = userData = nullptr;
    }

    bool Made() const { return parsing != nullptr && userData != nullptr; }
    CParserBase& Parser() const { return *static_cast<CParserBase*>(parsing); }

    std::vector<Answer> Call(const u8* data, u32 size) const { return Call(data, size, Plainly); }
    template <typename Around>
    std::vector<Answer> Call(const u8* data, u32 size, const Around& around) const
    {
        std::vector<Answer> answers = ReadStream(data, size, around);
        for (Answer& answer : TakeApart(const_cast<u8*>(data), size, around))
            answers.push_back(std::move(answer));
        for (Answer& answer : Edit(data, size, around))
            answers.push_back(std::move(answer));
        return answers;
    }

    void* parsing = nullptr;
    void* userData = nullptr;

private:
    static constexpr auto Plainly = [](const auto& call) { return call(); };

    template <typename... Values>
    static Bytes Joined(const Values&... values)
    {
        Bytes all;
        const auto add = [&](const void* from, std::size_t size) {
            all.insert(all.end(), static_cast<const u8*>(from), static_cast<const u8*>(from) + size);
        };
        (add(&values, sizeof values), ...);
        return all;
    }

    template <typename Around>
    std::vector<Answer> ReadStream(const u8* data, u32 size, const Around& around) const
    {
        VideoInfo info = {};
        VideoInfoEx verdict = {};
        VideoPicType type = {};
        std::vector<Answer> answers;
        const Status read = around([&] { return ParseVideoParams(parsing, data, size, &info); });
        answers.push_back({"ParseVideoParams", read, Bytes(info.frameData, info.frameData + info.frameSize)});
        const Status test = around([&] { return VideoSampleTest(parsing, data, size, &verdict); });
        answers.push_back({"VideoSampleTest", test,
                           Joined(verdict.discontinuity, verdict.intraPicture, verdict.isFramePicture)});
        const Status query = around([&] { return QueryType(parsing, data, size, type); });
        answers.push_back({"QueryType", query, Joined(type)});
        return answers;
    }

    template <typename Around>
    std::vector<Answer> TakeApart(u8* data, u32 size, const Around& around) const
    {
        ParameterSetData sets = {};
        u32 count = 0, *sizes = nullptr;
        u8** nals = nullptr;
        std::vector<Answer> answers;
        const Status split =
            around([&] { return GetNalFromFrame(parsing, data, size, &count, &nals, &sizes); });
        answers.push_back({"GetNalFromFrame", split, {}});
        for (u32 i = 0; i < count; ++i)
            answers.back().out.insert(answers.back().out.end(), nals[i], nals[i] + sizes[i]);
        const Status found = around([&] { return GetParameterSetData(parsing, data, size, &sets); });
        answers.push_back({"GetParameterSetData", found, Bytes(sets.spsData, sets.spsData + sets.spsSize)});
        const u32 half = size / 2;
        const Status set =
            around([&] { return SetParameterSetData(parsing, data, half, data + half, size - half); });
        answers.push_back({"SetParameterSetData", set, {}});
        const Status walk = around([&] { return SetVideoData(parsing, data, size); });
        answers.push_back({"SetVideoData", walk, {}});
        for (Status status = 0; status == 0 && answers.size() < 2000;) {
            u8* nal = nullptr;
            u32 nalSize = 0, header = 0;
            bool isSlice = false;
            status = around([&] { return GetNalUnit(parsing, &nal, &nalSize, &isSlice, &header); });
            answers.push_back({"GetNalUnit", status, Bytes(nal, nal + nalSize) + Joined(isSlice, header)});
            status = nal != nullptr ? status : -1;
        }
        return answers;
    }

    template <typename Around>
    std::vector<Answer> Edit(const u8* data, u32 size, const Around& around) const
    {
        std::vector<Answer> answers;
        const auto edit = [&](const char* name, const auto& function) {
            const u8* out = nullptr;
            u32 outSize = 0;
            const Status status = around([&] { return function(&out, &outSize); });
            answers.push_back({name, status, Bytes(out, out + outSize)});
        };
        edit("AddUserData", [&](const u8** out, u32* outSize) {
            return AddUserData(userData, data, size, data, size, out, outSize);
        });
        edit("GetUserData",
             [&](const u8** out, u32* outSize) { return GetUserData(userData, data, size, out, outSize); });
        edit("RemoveUserData", [&](const u8** out, u32* outSize) {
            return RemoveUserData(userData, data, size, out, outSize);
        });
        return answers;
    }
};

inline Bytes StreamFile(const std::string& name)
{
    std::ifstream file(NALSMITH_STREAMS "/" + name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    const std::string content(std::istreambuf_iterator<char>(file), {});
    return Bytes(content.begin(), content.end());
}

struct NamedStream {
    const char* file;
    VideoCodecType codec;
};
// The smallest of each codec.
inline constexpr NamedStream kSmallStreams[] = {{"avc_hand_escaped_headers.h264", VideoCodecAVC},
                                                {"hevc_hand_vps_late.h265", VideoCodecHEVC}};
