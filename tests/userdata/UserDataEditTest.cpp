// SPDX-License-Identifier: MIT
// Where user data goes in a frame, where it is found, and what its removal leaves.
#include "Handles.h"
#include "UserData.h"

#include <optional>

namespace {

using namespace userdatatest;

const Bytes kRecovery = "06 01 c4"_bytes, kPicTiming = "01 02 00 00"_bytes; // messages to be kept

class UserDataEdit : public testing::TestWithParam<Format> {
protected:
    const Format& f_ = GetParam();
    const UserDataHandle handle_{f_.codec};
    const Bytes data_ = "41 00 00 02 42"_bytes, own_ = Own(data_);
    const Bytes aud_ = f_.Unit(f_.delimiter, "50"_bytes),
                sets_ = f_.Unit(f_.parameterSet, "42 c0 1e 80"_bytes);
    const Bytes slice_ = f_.Slice(), slice3_ = f_.Slice(3), recovery_ = f_.Sei(kRecovery);
};

TEST_P(UserDataEdit, GoesIntoTheFirstSeiBeforeTheSlicesOrANewOne)
{
    const Bytes zeros(5, 0), added = f_.Sei(own_), joined = f_.Sei(kRecovery + own_);
    const Bytes cut = "00 00 01"_bytes + f_.Header(f_.sei), bare = "00 00 01"_bytes,
                bare4 = "00 00 00 01"_bytes;
    const std::pair<Bytes, Bytes> rows[] = {
        {aud_ + sets_ + sets_ + slice_, aud_ + sets_ + sets_ + added + slice_},
        {aud_ + recovery_ + slice_, aud_ + joined + slice_},
        {recovery_ + sets_ + slice_, joined + sets_ + slice_},
        {aud_ + recovery_, aud_ + joined}, // no slice needed
        {slice_ + recovery_ + slice_, added + slice_ + recovery_ + slice_},
        {slice_ + slice3_ + slice_, added + slice_ + slice3_ + slice_},
        {recovery_ + recovery_ + slice_, joined + recovery_ + slice_},
        {f_.Sei(kRecovery, 3) + slice3_, f_.Sei(kRecovery + own_, 3) + slice3_},
        {aud_ + slice3_, aud_ + added + slice3_},
        // Bytes behind stop bytes go, everywhere; other units keep theirs.
        {recovery_ + zeros + sets_ + zeros + slice_ + zeros, joined + sets_ + zeros + slice_ + zeros},
        {slice_ + recovery_ + zeros + slice_, added + slice_ + recovery_ + slice_},
        {recovery_ + recovery_ + zeros, joined + recovery_},
        {recovery_ + "11 22"_bytes + slice_, joined + slice_},
        {recovery_ + bare + "41"_bytes, joined}, // a start code in the last four bytes is none
        {f_.Sei("06 02 80 80"_bytes) + slice_, f_.Sei("06 02 80 80"_bytes + own_) + slice_},
        {f_.Sei(Bytes{}) + slice_, added + slice_},
        {cut + "80"_bytes + slice_, cut + own_.From(0, 19) + "00 00 03 02 42 80"_bytes + slice_},
        // Messages of every kind stay, also malformed and badly escaped ones.
        {f_.Sei(Own("43"_bytes) + kRecovery) + slice_, f_.Sei(Own("43"_bytes) + kRecovery + own_) + slice_},
        {f_.Sei("05 ff 00"_bytes) + slice_, f_.Sei("05 ff 00"_bytes + own_) + slice_},
        {cut + "00 00 03 09 80"_bytes + slice_,
         cut + "00 00 03 09"_bytes + own_.From(0, 19) + "00 00 03 02 42 80"_bytes + slice_},
        {"12 34"_bytes + slice_, added + slice_},
        {aud_ + bare + slice_, aud_ + bare + added + slice_},
        {bare4 + aud_ + slice3_ + bare + recovery_, bare4 + aud_ + added + slice3_ + bare + recovery_},
    };
    for (const auto& [frame, expected] : rows) {
        const Edited out = handle_.Add(frame, data_);
        EXPECT_EQ(out.status, 0);
        EXPECT_EQ(out.at, handle_.Base().userFrameBuffer);
        EXPECT_EQ(out.Content(), expected);
    }
}

TEST_P(UserDataEdit, EachTypeIsSeiSliceOrNeither)
{
    for (u32 type = 0; type < f_.types; ++type) {
        SCOPED_TRACE(type);
        const Bytes front = f_.Unit(type, kRecovery + "80"_bytes),
                    holds = f_.Unit(type, own_ + "80"_bytes, 3);
        const Bytes expected = type == f_.sei     ? f_.Sei(kRecovery + own_) + slice_
                               : f_.IsSlice(type) ? f_.Sei(own_) + front + slice_
                                                  : front + f_.Sei(own_) + slice_;
        EXPECT_EQ(handle_.Add(front + slice_, data_).Content(), expected);
        // Alone, it does or does not give a place.
        const bool places = type == f_.sei || f_.IsSlice(type);
        const Edited alone = handle_.Add(front, data_), found = handle_.Find(slice_ + holds);
        EXPECT_EQ(alone.status, places ? 0 : -1);
        if (!places) {
            EXPECT_EQ(alone.Content(), front);
        }
        EXPECT_EQ(found.status, 0);
        EXPECT_EQ(found.Content(), type == f_.sei ? data_ : Bytes{});
        EXPECT_EQ(found.Nothing(), type != f_.sei);
        EXPECT_EQ(handle_.Remove(slice_ + holds).Content(), type == f_.sei ? slice_ : slice_ + holds);
    }
}

// Only nal_unit_type is looked at: not forbidden_zero_bit, nal_ref_idc, nuh_layer_id, nuh_temporal_id_plus1.
TEST_P(UserDataEdit, OtherHeaderBitsStayOrAreWrittenAnew)
{
    const bool avc = f_.codec == VideoCodecAVC;
    for (const Bytes& header :
         avc ? std::vector<Bytes>{"26"_bytes, "66"_bytes, "86"_bytes, "e6"_bytes}
             : std::vector<Bytes>{"4e 03"_bytes, "4f 01"_bytes, "4e f9"_bytes, "ce 00"_bytes}) {
        const auto sei = [&](const Bytes& messages) { return NalUnitOf(header + messages + "80"_bytes, 3); };
        EXPECT_EQ(handle_.Add(sei(kRecovery) + slice_, data_).Content(), sei(kRecovery + own_) + slice_);
        EXPECT_EQ(handle_.Find(sei(own_)).Content(), data_);
        EXPECT_EQ(handle_.Remove(sei(own_ + kRecovery)).Content(), recovery_);
    }
}

TEST_P(UserDataEdit, FramesWithoutAPlaceAreCopied)
{
    const Bytes sets = aud_ + sets_ + Bytes(7, 0);
    // {frame, what comes out, whether there is a start code}
    const std::tuple<Bytes, Bytes, bool> rows[] = {
        {sets, sets, true},
        {"99"_bytes + sets, sets, true},
        {Bytes{}, Bytes{}, true},
        {"00 00 01"_bytes + f_.Header(f_.sei).From(0, 1), Bytes{}, true}, // too short to be looked at
        {"12 34 56 78 9a bc"_bytes, Bytes{}, false},
        {"12 34 56 00 00 00 01"_bytes, Bytes{}, false},
        {Bytes(3000, 0), Bytes{}, false},
    };
    for (const auto& [frame, copy, startCode] : rows) {
        const Edited added = handle_.Add(frame, data_), removed = handle_.Remove(frame);
        EXPECT_EQ(added.status, -1);
        EXPECT_EQ(added.at, handle_.Base().userFrameBuffer);
        EXPECT_EQ(added.Content(), copy);
        EXPECT_EQ(removed.status, startCode ? 0 : -1);
        EXPECT_EQ(removed.at, handle_.Base().removeFrameBuffer);
        EXPECT_EQ(removed.Content(), copy);
        const Edited found = handle_.Find(frame);
        EXPECT_EQ(found.status, startCode ? 0 : -1);
        EXPECT_TRUE(found.Nothing());
    }
    Edited added, found, removed; // a null frame holds nothing, whatever its size
    EXPECT_EQ(AddUserData(handle_.Get(), nullptr, 100, data_.data(), 1, &added.at, &added.size), -1);
    EXPECT_EQ(GetUserData(handle_.Get(), nullptr, 100, &found.at, &found.size), 0);
    EXPECT_EQ(RemoveUserData(handle_.Get(), nullptr, 100, &removed.at, &removed.size), 0);
    EXPECT_TRUE(added.at == handle_.Base().userFrameBuffer && added.size == 0 && found.Nothing());
    EXPECT_TRUE(removed.at == handle_.Base().removeFrameBuffer && removed.size == 0);
}

TEST_P(UserDataEdit, SeiWithoutStopByteIsRefused)
{
    const Bytes code = "00 00 01"_bytes, header = f_.Header(f_.sei);
    Bytes marked = header; // 0x80 in the header is no stop byte
    marked.back() = f_.codec == VideoCodecAVC ? header[0] : u8{0x80};
    for (const Bytes& sei : {f_.Unit(f_.sei, kRecovery), f_.Unit(f_.sei, Bytes{}), code + marked,
                             code + marked + kRecovery + Bytes(4, 0), code + header.From(0, 1)})
        for (const Bytes& frame :
             {sei + slice_, slice_ + sei + slice_, recovery_ + sei + sets_, aud_ + sei + sets_}) {
            const Edited out = handle_.Add(frame, data_);
            EXPECT_EQ(out.status, -1) << testing::PrintToString(frame);
            EXPECT_TRUE(out.Untouched()) << testing::PrintToString(frame);
        }
    EXPECT_EQ(handle_.Add(slice_, data_).Content(), f_.Sei(own_) + slice_);
}

TEST_P(UserDataEdit, BadArgumentsTouchNothing)
{
    const Bytes frame = f_.Sei(own_) + slice_;
    const u8* const data = data_.data();
    Edited out;
    const auto add = [&](u32 frameSize, const u8* bytes, u32 size, const u8** at, u32* length) {
        EXPECT_EQ(AddUserData(handle_.Get(), frame.data(), frameSize, bytes, size, at, length), -1);
    };
    add(frame.Size(), nullptr, 1, &out.at, &out.size);
    add(frame.Size(), data, 0xFFFFFFFF, &out.at, &out.size);
    add(frame.Size(), data, 1, nullptr, &out.size);
    add(frame.Size(), data, 1, &out.at, nullptr);
    add(0xFFFFFFFF - 18, nullptr, 0, &out.at, &out.size);
    for (const auto operation : {GetUserData, RemoveUserData}) {
        EXPECT_EQ(operation(handle_.Get(), frame.data(), frame.Size(), nullptr, &out.size), -1);
        EXPECT_EQ(operation(handle_.Get(), frame.data(), frame.Size(), &out.at, nullptr), -1);
    }
    EXPECT_TRUE(out.Untouched());
    EXPECT_EQ(AddUserData(handle_.Get(), slice_.data(), slice_.Size(), nullptr, 0, &out.at, &out.size), 0);
    EXPECT_EQ(out.Content(), f_.Sei(Own(Bytes{})) + slice_);
}

TEST_P(UserDataEdit, FramesInTheBufferToBeWrittenAreRefused)
{
    const Bytes frame = f_.Sei(kRecovery) + slice_, expected = f_.Sei(kRecovery + own_) + slice_;
    const auto refused = [&](auto operation, const Edited& held, u32 bufferSize, auto... data) {
        u8* const buffer = const_cast<u8*>(held.at);
        std::fill(buffer + held.size, buffer + bufferSize, u8{0x11}); // what no call has written
        const Bytes before(buffer, buffer + bufferSize);
        for (const u32 offset : {0u, 1u, 5u, bufferSize - 6}) {
            Edited out;
            EXPECT_EQ(operation(handle_.Get(), buffer + offset, 6, data..., &out.at, &out.size), -1)
                << offset;
            EXPECT_TRUE(out.Untouched());
        }
        EXPECT_EQ(Bytes(buffer, buffer + bufferSize), before);
    };
    const CParserBase& base = handle_.Base();
    const Edited added = handle_.Add(frame, data_), removed = handle_.Remove(expected);
    refused(AddUserData, added, base.userFrameBufferSize, data_.data(), data_.Size());
    refused(RemoveUserData, removed, base.removeFrameBufferSize);

    Edited found, again, plain; // each result may go to the other operations
    EXPECT_EQ(RemoveUserData(handle_.Get(), added.at, added.size, &plain.at, &plain.size), 0);
    EXPECT_EQ(plain.Content(), frame);
    EXPECT_EQ(GetUserData(handle_.Get(), added.at, added.size, &found.at, &found.size), 0);
    EXPECT_EQ(found.Content(), data_);
    EXPECT_EQ(
        AddUserData(handle_.Get(), plain.at, plain.size, data_.data(), data_.Size(), &again.at, &again.size),
        0);
    EXPECT_EQ(again.Content(), expected);
    EXPECT_EQ(plain.Content(), frame); // valid until the next removal
}

// One SEI NAL unit: what its messages are to the search and to the removal.
TEST_P(UserDataEdit, MessagesAreWalkedUpToTheStopByte)
{
    using Found = std::optional<Bytes>;
    const Bytes other = Own("43 44"_bytes), stop = "80"_bytes, none = {}, zeros(6, 0);
    const Bytes empty = Message(9, Bytes{}), longest = Message(4, Bytes(600, 0)), zero = Message(0, Bytes{});
    const struct {
        Bytes payload; // of the NAL unit
        Found found;
        Bytes kept;
        Bytes behind = {}; // bytes in front of the next start code
    } rows[] = {
        {own_ + stop, data_, none},
        {kRecovery + own_ + stop, data_, kRecovery},
        {own_ + kPicTiming + stop, data_, kPicTiming},
        {kRecovery + own_ + empty + other + longest + stop, "43 44"_bytes, kRecovery + empty + longest},
        {Own(none) + kRecovery + stop, none, kRecovery},
        {own_ + Own(none) + stop, none, none},
        {zero + zero + own_ + zero + Message(0, "00 00 01"_bytes) + stop, data_,
         zero + zero + zero + Message(0, "00 00 01"_bytes)},
        // Not ours: too short for a UUID, other types, types of several bytes.
        {Message(5, kUuid.From(0, 15)) + kRecovery + stop, {}, kRecovery},
        {Message(5, none) + kRecovery + stop, {}, kRecovery},
        {Message(4, kUuid + data_) + stop, {}, Message(4, kUuid + data_)},
        {Message(260, kUuid + data_) + stop, {}, Message(260, kUuid + data_)},
        {Message(255, data_) + Message(1000, none) + own_ + stop, data_,
         Message(255, data_) + Message(1000, none)},
        // Malformed: the rest is no message.
        {own_ + "06 05 c4"_bytes + stop, data_, none},
        {kRecovery + own_.From(0, own_.size() - 2) + stop, {}, kRecovery},
        {kRecovery + "05 ff"_bytes + own_ + stop, {}, kRecovery},
        {kRecovery + "ff ff ff"_bytes, {}, kRecovery},
        {kRecovery + "05 ff ff"_bytes, {}, kRecovery},
        {kRecovery + "05"_bytes + stop, {}, kRecovery},
        {kRecovery + "80 80"_bytes, {}, kRecovery},
        {"06 03 c4"_bytes + stop, {}, none, zeros},
        // A payload may reach into the stop byte and no further; without one it may reach the end.
        {"06 02 c4"_bytes + stop, {}, "06 02 c4 80"_bytes},
        {"06 02 c4"_bytes + stop, {}, "06 02 c4 80"_bytes, zeros},
        {kRecovery, {}, kRecovery},
        {own_, data_, none},
        // Zeros behind the stop byte are no messages; with no stop byte there they are.
        {own_ + kRecovery + stop, data_, kRecovery, zeros},
        {own_ + stop, data_, none, "00"_bytes},
        {stop, {}, none},
        {stop, {}, none, zeros},
        {none, {}, none},
        {kRecovery, {}, kRecovery, "00"_bytes},
        {kRecovery, {}, kRecovery + zero, "00 00"_bytes},
        {kRecovery + stop, {}, kRecovery + Message(128, none), "00 01"_bytes},
        // Needless emulation prevention is not kept.
        {none, {}, "06 04 00 00 04 05"_bytes, "06 04 00 00 03 04 05 80"_bytes},
    };
    for (const auto& row : rows)
        for (const Bytes& next : {none, slice_}) {
            const Bytes frame = aud_ + f_.Unit(f_.sei, row.payload) + row.behind + next;
            const Edited found = handle_.Find(frame), removed = handle_.Remove(frame);
            EXPECT_EQ(found.status, 0);
            EXPECT_EQ(found.at, row.found ? handle_.Base().userFrameBuffer : nullptr);
            EXPECT_EQ(found.Content(), row.found.value_or(none));
            EXPECT_EQ(found.size, row.found.value_or(none).size());
            EXPECT_EQ(removed.status, 0);
            EXPECT_EQ(removed.Content(), aud_ + (row.kept.empty() ? none : f_.Sei(row.kept)) + next)
                << "of " << testing::PrintToString(frame);
        }
}

TEST_P(UserDataEdit, OnlyTheExactUuidIsOurs)
{
    for (std::size_t i = 0; i < kUuid.size(); ++i) {
        Bytes foreign = kUuid;
        foreign[i] = static_cast<u8>(foreign[i] ^ (i % 2 == 0 ? 1 : 0x80));
        const Bytes frame = f_.Sei(Message(5, foreign + data_) + kRecovery) + slice_;
        EXPECT_TRUE(handle_.Find(frame).Nothing());
        EXPECT_EQ(handle_.Remove(frame).Content(), recovery_ + slice_);
        EXPECT_EQ(handle_.Add(frame, data_).Content(),
                  f_.Sei(Message(5, foreign + data_) + kRecovery + own_) + slice_);
    }
}

TEST_P(UserDataEdit, UnitsWithoutPayloadAreLeftOutByRemoval)
{
    const Bytes bare = "00 00 01"_bytes, bare4 = "00 00 00 01"_bytes;
    const Bytes half = bare + f_.Header(f_.sei).From(0, 1); // of H.265 it has half a header
    for (const Bytes& empty : {bare, bare4, bare + bare4, half}) {
        const Bytes frame = aud_ + empty + slice_ + empty + recovery_ + f_.Sei(own_);
        EXPECT_EQ(handle_.Remove(frame).Content(), aud_ + slice_ + recovery_);
        EXPECT_EQ(handle_.Find(frame).Content(), data_);
    }
    EXPECT_EQ(handle_.Remove("12 34"_bytes + slice3_ + "00 00 01 41"_bytes).Content(),
              slice3_ + "00 00 01 41"_bytes);
}

INSTANTIATE_TEST_SUITE_P(Codecs, UserDataEdit, testing::ValuesIn(kFormats), NameOf);

} // namespace
