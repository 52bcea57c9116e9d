// SPDX-License-Identifier: MIT
// User data, SEI messages and length prefixes.
#include "LayerStreams.h"

#include "Bytes.h"

#include <algorithm>

namespace {

using namespace layertest;
using nalsmith::Bytes;
using nalsmith::Status;

// Behind a start code of three bytes the library would take the last byte for a part of the SEI NAL unit.
TEST(UserData, LosesNoNalUnitOfOneByteAtTheEnd)
{
    const auto types_of = [](BytesView unit) {
        std::vector<unsigned> types;
        for (const NalUnit& nal : NalUnits(Codec::h264, unit))
            types.push_back(nal.type());
        return types;
    };
    UserDataEditor editor(Codec::h264);
    const Bytes unit = {0, 0, 1, 6, 0x80, 0, 0, 1, 0x25};
    const auto added = editor.add(unit, unit);
    ASSERT_TRUE(added);
    EXPECT_EQ(types_of(*added), (std::vector<unsigned>{6, 5}));
    const auto again = editor.add(*added, unit);
    ASSERT_TRUE(again);
    EXPECT_TRUE(std::ranges::equal(editor.get(*again).value_or(BytesView()), unit));

    const auto bare_slice = editor.add(Bytes{0, 0, 1, 9, 0x10, 0, 0, 1, 0x25}, unit);
    ASSERT_TRUE(bare_slice);
    EXPECT_EQ(types_of(*bare_slice), (std::vector<unsigned>{9, 6, 5}));
}

// And every other byte stays.
TEST(UserData, IsRemovedWhoeverWroteItAndWhereverItStands)
{
    struct Case {
        Codec codec;
        ::Bytes before, after;
    };
    const Case cases[] = {
        {Codec::h264, "00 00 01 65 88 00 00 01 0a"_bytes, "00 00 01 65 88 00 00 01 0a"_bytes},
        // Among others and alone; a byte before all, start codes of both sizes, zeros.
        {Codec::h264,
         "07 00 00 00 01 09 10 00 00 00 00 01 06 04 01 07 05 01 08 06 03 00 00 03 01 80 00 00 00 00 01 "
         "06 05 01 09 05 00 80 00 00 00 01 06 06 01 08 80 00 00 01 65 88 00"_bytes,
         "07 00 00 00 01 09 10 00 00 00 00 01 06 04 01 07 06 03 00 00 03 01 80 00 00 00 00 01 "
         "06 06 01 08 80 00 00 01 65 88 00"_bytes},
        // Before what is no message. Then a 03 that keeps nothing apart.
        {Codec::h264,
         "00 00 01 06 05 01 09 04 07 00 00 03 01 00 00 01 06 04 03 00 00 03 00 00 01 65 88"_bytes,
         "00 00 01 06 04 07 00 00 03 01 00 00 01 06 04 03 00 00 03 00 00 01 65 88"_bytes},
        // After a NAL unit of one zero, which becomes no part of the next start code.
        {Codec::h264, "00 00 01 00 00 00 00 01 06 05 01 00 80 00 00 01 65 88"_bytes,
         "00 00 01 00 00 00 00 01 65 88"_bytes},
        // Prefix, suffix, and a NAL unit that is no SEI.
        {Codec::h265,
         "00 00 01 4e 01 05 01 09 80 00 00 01 02 01 88 00 00 01 50 01 84 01 07 05 01 09 80 "
         "00 00 00 01 50 01 05 01 09 80 00 00 01 c6 05 01 09 80"_bytes,
         "00 00 01 02 01 88 00 00 01 50 01 84 01 07 80 00 00 01 c6 05 01 09 80"_bytes},
        // What stays begins or ends with zeros.
        {Codec::h265, "00 00 01 4e 00 00 03 01 aa 05 01 bb 80 00 00 01 02 01 80"_bytes,
         "00 00 01 4e 00 00 03 01 aa 80 00 00 01 02 01 80"_bytes},
        {Codec::h264, "00 00 01 06 04 02 00 00 05 01 09 00 00 01 65 88"_bytes,
         "00 00 01 06 04 02 00 00 80 00 00 01 65 88"_bytes},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        UserDataEditor editor(c.codec);
        auto removed = editor.remove(c.before);
        EXPECT_TRUE(std::ranges::equal(removed.value_or(BytesView()), c.after));
        removed = editor.remove(c.after);
        EXPECT_TRUE(std::ranges::equal(removed.value_or(BytesView()), c.after));
    }
}

TEST(UserData, SaysWhyItIsNotAdded)
{
    UserDataEditor editor(Codec::h264);
    const Bytes slice = {0, 0, 1, 0x65, 0x88, 0x84};
    const auto status_of = [&](Bytes unit, BytesView data) {
        append(unit, slice);
        EXPECT_FALSE(editor.add(unit, data));
        return editor.status();
    };
    EXPECT_EQ(status_of({0, 0, 1, 6, 4, 1, 7}, slice), Status::malformed); // without a stop byte
    EXPECT_EQ(status_of({0, 0, 1, 6, 4, 1, 7, 0x80, 0, 0, 1, 6, 4, 1, 7}, slice), Status::malformed);
    EXPECT_EQ(status_of({0, 0, 1, 6, 4, 9, 7, 0x80}, slice), Status::malformed);       // too short
    EXPECT_EQ(status_of({}, {slice.data(), std::size_t{1} << 32}), Status::too_large); // none is looked at
    EXPECT_EQ(status_of({}, {slice.data(), 0xFFFF'FFF0}), Status::too_large);
    EXPECT_TRUE(editor.remove(slice));
    EXPECT_EQ(editor.status(), Status::ok);
    for (const Bytes& unit : {Bytes{0, 0, 1, 9, 0x10}, Bytes{0, 0, 1, 6, 4, 1, 7, 0x80}}) {
        EXPECT_FALSE(editor.add(unit, slice));
        EXPECT_EQ(editor.status(), Status::no_slice);
    }
    EXPECT_FALSE(editor.get(slice));
    EXPECT_EQ(editor.status(), Status::ok);
    EXPECT_FALSE(editor.remove(Bytes{0, 0}));
    EXPECT_EQ(editor.status(), Status::no_start_code);
    EXPECT_TRUE(editor.add(slice, {}));
    EXPECT_EQ(editor.status(), Status::ok);
}

TEST(UserData, AnswersMayBeArgumentsOfEveryCall)
{
    const Bytes slice = {0, 0, 1, 0x65, 0x88, 0x84};
    UserDataEditor fresh(Codec::h264);
    const Bytes one = fresh.add(slice, slice)->to_bytes();
    const Bytes two = fresh.add(one, one)->to_bytes();
    UserDataEditor editor(Codec::h264);
    auto answer = editor.add(slice, slice);
    EXPECT_EQ((answer = editor.add(*answer, *answer))->to_bytes(), two);
    EXPECT_EQ((answer = editor.get(*answer))->to_bytes(), one);
    EXPECT_EQ((answer = editor.add(*answer, *answer))->to_bytes(), two);
    EXPECT_EQ((answer = editor.remove(*editor.remove(*answer)))->to_bytes(), slice);
    EXPECT_EQ((answer = editor.add(*answer, *answer))->to_bytes(), one);
    EXPECT_EQ(editor.remove(*editor.get(*answer))->to_bytes(), slice);
}

TEST(Sei, IsReadWhateverItsTypeAndItsNalUnit)
{
    const Bytes unit = {
        0, 0, 1, 0x4E, 1, 0xFF, 1, 2, 7,    8, 5, 1,    9,    0x80, // prefix: type 256, then 5
        0, 0, 1, 0x50, 1, 132,  4, 0, 0,    3, 1, 2,    0x80, 0,    // suffix, escaped
        0, 0, 1, 0x4E, 1, 4,    1, 3, 4,    9, 5, 0x80,             // the second ends too late
        0, 0, 1, 0x4E, 9, 4,    1, 3, 0x80,                         // of another layer
        0, 0, 1, 0x58, 1, 4,    1, 3, 0x80,                         // of a reserved type, 44
        0, 0, 1, 0x4E, 1, 4,    3, 0, 0,    3};                     // nothing for the 03 to keep apart
    const std::vector<SeiMessage> messages = sei_messages(Codec::h265, unit);
    ASSERT_EQ(messages.size(), 5u);
    EXPECT_EQ(messages[0].type, 256u);
    EXPECT_EQ(messages[0].payload, (Bytes{7, 8}));
    EXPECT_FALSE(messages[1].uuid()); // too short for one
    EXPECT_EQ(messages[1].content().size(), 1u);
    EXPECT_TRUE(messages[2].suffix);
    EXPECT_EQ(messages[2].payload, (Bytes{0, 0, 1, 2}));
    EXPECT_EQ(messages[3].payload, (Bytes{3}));
    EXPECT_EQ(messages[4].payload, (Bytes{0, 0, 3}));
}

TEST(LengthPrefixed, GoesThereAndBack)
{
    for (const char* const name : {"avc_size_change.h264", "hevc_aud_headers_once.h265"}) {
        const Codec codec = codec_of(name);
        for (const Kept& kept : read_all(codec, read_file(name)))
            for (const unsigned size : {2U, 4U}) {
                Bytes prefixed;
                Bytes back;
                ASSERT_EQ(to_length_prefixed(codec, kept.bytes, size, prefixed), Status::ok);
                ASSERT_EQ(to_annex_b(prefixed, size, back), Status::ok);
                std::vector<Bytes> before;
                std::vector<Bytes> after;
                for (const NalUnit& nal : NalUnits(codec, kept.bytes))
                    before.emplace_back(nal.payload().begin(), nal.payload().end());
                for (const NalUnit& nal : NalUnits(codec, back))
                    after.emplace_back(nal.payload().begin(), nal.payload().end());
                EXPECT_EQ(before, after);
            }
    }
    Bytes out;
    EXPECT_EQ(to_length_prefixed(Codec::h264, Bytes(300, 9), 2, out), Status::no_start_code);
    Bytes large = {0, 0, 1};
    large.resize(300, 9);
    EXPECT_EQ(to_length_prefixed(Codec::h264, large, 1, out), Status::too_large);
    EXPECT_EQ(to_annex_b(Bytes{0, 5, 1, 2}, 2, out), Status::malformed);
    EXPECT_EQ(to_annex_b(Bytes{0, 0, 1, 2}, 3, out), Status::not_supported);

    // What is read may lie where the result is put after it.
    const Bytes stream = {0, 0, 0, 1, 9, 0x10, 0, 0, 0, 1, 0x65, 0x88, 0x84};
    const Bytes sample = {0, 0, 0, 2, 9, 0x10, 0, 0, 0, 3, 0x65, 0x88, 0x84};
    for (const std::size_t spare : {0, 100})
        for (const bool there : {false, true}) {
            const Bytes& from = there ? stream : sample;
            Bytes all = from;
            all.reserve(all.size() + spare);
            EXPECT_EQ(there ? to_length_prefixed(Codec::h264, all, 4, all) : to_annex_b(all, 4, all),
                      Status::ok);
            append(all, BytesView(all).subview(1));
            Bytes expected = from;
            append(expected, there ? sample : stream);
            append(expected, Bytes(expected.begin() + 1, expected.end()));
            EXPECT_EQ(all, expected);
        }
}

} // namespace
