// SPDX-License-Identifier: MIT
// User-data handles, and the NAL units of both codecs as user data sees them: SEI, slices and others.
#pragma once

#include "BitWriter.h"
#include "nalsmith/nalsmith.h"
#include "parser/VideoParams.h"

#include <gtest/gtest.h>

namespace userdatatest {

struct Format {
    const char* name;
    VideoCodecType codec;
    u32 types; // values of nal_unit_type
    u32 sei, firstSlice, lastSlice, delimiter, parameterSet;

    bool IsSlice(u32 type) const { return type >= firstSlice && type <= lastSlice; }
    Bytes Header(u32 type) const
    {
        if (codec == VideoCodecAVC)
            return Bytes{static_cast<u8>(type)};
        return Bytes{static_cast<u8>(type << 1), 1};
    }
    Bytes Unit(u32 type, const Bytes& payload, u32 startCodeSize = 4) const
    {
        return NalUnitOf(Header(type) + payload, startCodeSize);
    }
    Bytes Sei(const Bytes& messages, u32 startCodeSize = 4) const // H.265: prefix SEI
    {
        return Unit(sei, messages + "80"_bytes, startCodeSize);
    }
    Bytes Slice(u32 startCodeSize = 4) const
    {
        return Unit(firstSlice, "88 84 00 00 01 2f"_bytes, startCodeSize);
    }
    Bytes SliceOf(u32 size) const // of so many bytes in all
    {
        return Unit(firstSlice, Bytes(size - 4 - Header(0).size(), 0x55));
    }
    u32 Around() const { return Sei(Bytes{}).Size(); } // bytes around the messages of an SEI NAL unit
};

inline const Format kFormats[] = {{"H264", VideoCodecAVC, 32, 6, 1, 5, 9, 7},
                                  {"H265", VideoCodecHEVC, 64, 39, 0, 31, 35, 33}};

// For INSTANTIATE_TEST_SUITE_P.
inline std::string NameOf(const testing::TestParamInfo<Format>& info)
{
    return info.param.name;
}
inline void PrintTo(const Format& format, std::ostream* out)
{
    *out << format.name;
}

// Without emulation prevention, as all messages here.
inline Bytes Message(u32 type, const Bytes& payload)
{
    Bytes message(type / 255, 0xff);
    message.push_back(static_cast<u8>(type % 255));
    message.insert(message.end(), payload.size() / 255, 0xff);
    message.push_back(static_cast<u8>(payload.size() % 255));
    return message + payload;
}

inline const Bytes kUuid = "99 ae d3 1b b8 94 4b 97 ad 39 fb 4e d5 90 2b a1"_bytes;

inline Bytes Own(const Bytes& data)
{
    return Message(5, kUuid + data);
}

// What a call left in its outputs.
struct Edited {
    Status status = 0;
    const u8* at = kUuid.data(); // no result lies there
    u32 size = 0xEEEEEEEE;

    bool Untouched() const { return at == kUuid.data() && size == 0xEEEEEEEE; }
    bool Nothing() const { return at == nullptr && size == 0; }
    Bytes Content() const { return at == nullptr || Untouched() ? Bytes{} : Bytes(at, at + size); }
};

class UserDataHandle {
public:
    explicit UserDataHandle(VideoCodecType codec) { UserDataCreate(&handle_, codec); }
    ~UserDataHandle() { UserDataRelease(handle_); }
    UserDataHandle(const UserDataHandle&) = delete;
    UserDataHandle& operator=(const UserDataHandle&) = delete;

    void* Get() const { return handle_; }
    CParserBase& Base() const { return *static_cast<CParserBase*>(handle_); }

    // The frame and the data are gone when the call is over.
    Edited Add(const Bytes& frame, const Bytes& data) const
    {
        const auto copy = data.Exact();
        return OnCopy(frame, [&](const u8* f, Edited& out) {
            return AddUserData(handle_, f, frame.Size(), copy.get(), data.Size(), &out.at, &out.size);
        });
    }
    Edited Find(const Bytes& frame) const
    {
        return OnCopy(frame, [&](const u8* f, Edited& out) {
            return GetUserData(handle_, f, frame.Size(), &out.at, &out.size);
        });
    }
    Edited Remove(const Bytes& frame) const
    {
        return OnCopy(frame, [&](const u8* f, Edited& out) {
            return RemoveUserData(handle_, f, frame.Size(), &out.at, &out.size);
        });
    }

private:
    template <typename Call>
    static Edited OnCopy(const Bytes& frame, const Call& call)
    {
        const auto copy = frame.Exact();
        Edited out;
        out.status = call(copy.get(), out);
        EXPECT_TRUE(std::equal(frame.begin(), frame.end(), copy.get())); // never written to
        return out;
    }

    void* handle_ = nullptr;
};

} // namespace userdatatest
