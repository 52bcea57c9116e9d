// SPDX-License-Identifier: MIT
// SEI messages of any type and UUID, put in and taken out.
#include "LayerStreams.h"

#include "Bytes.h"

#include <algorithm>

namespace {

using namespace layertest;
using nalsmith::Bytes;
using nalsmith::Status;

struct Message {
    unsigned nal_unit_type, nuh_temporal_id_plus1, type;
    Bytes payload;
    bool operator==(const Message&) const = default;
};

// Shares nothing with what is tested.
std::vector<Message> read_independently(Codec codec, const Bytes& unit)
{
    std::vector<Message> messages;
    const std::string all(unit.begin(), unit.end());
    const std::string start("\0\0\1", 3);
    for (auto at = all.find(start); at != std::string::npos; at = all.find(start, at + 3)) {
        Bytes rbsp;
        int zeros = 0;
        for (const char c : all.substr(at + 3, all.find(start, at + 3) - at - 3)) {
            if (zeros < 2 || c != 3)
                rbsp.push_back(static_cast<std::uint8_t>(c));
            zeros = c == 0 ? zeros + 1 : 0;
        }
        const unsigned type = rbsp.empty() ? 0 : codec == Codec::h264 ? rbsp[0] & 31 : rbsp[0] >> 1;
        rbsp.resize(rbsp.size() - static_cast<std::size_t>(zeros));
        if (codec == Codec::h264 ? type != 6 : type != 39 && type != 40)
            continue;
        for (std::size_t i = codec == Codec::h264 ? 1 : 2; i + 1 < rbsp.size();) {
            std::size_t number[2] = {};
            for (std::size_t& n : number)
                do
                    n += rbsp.at(i);
                while (rbsp.at(i++) == 0xFF);
            const auto from = rbsp.begin() + static_cast<std::ptrdiff_t>(i);
            messages.push_back({type, codec == Codec::h264 ? 0U : rbsp[1], static_cast<unsigned>(number[0]),
                                Bytes(from, from + static_cast<std::ptrdiff_t>(number[1]))});
            i += number[1];
        }
    }
    return messages;
}

Uuid uuid_from(const char* text)
{
    Uuid uuid;
    std::memcpy(uuid.data(), text, uuid.size());
    return uuid;
}

Bytes payload_of(const Uuid& uuid, BytesView data)
{
    Bytes payload(uuid.begin(), uuid.end());
    append(payload, data);
    return payload;
}

// A frame that has four of them without one is the frame to which only the other three were added.
TEST(SeiEditor, TakesAwayOneOfFourWritersAndNothingElse)
{
    struct Writer {
        Uuid uuid;
        Bytes data;
        bool suffix = false;
    };
    const Bytes zeros(400, 0);
    for (const char* const name : {"avc_size_change.h264", "hevc_aud_headers_once.h265"}) {
        const Codec codec = codec_of(name);
        const Writer writers[] = {{UserDataEditor::uuid, {1, 0, 0, 1, 0}},
                                  {uuid_from("ours, 16 letters"), zeros},
                                  {uuid_from("MISPmicrosectime"), {0x1F, 0, 0, 0xFF, 0}},
                                  {uuid_from("text \0\0 of FFmpeg"), {'h', 'i'}, codec == Codec::h265}};
        const auto with_all_but = [&](BytesView unit, const Writer* left_out) {
            UserDataEditor users(codec);
            SeiEditor editor(codec);
            Bytes all = unit.to_bytes();
            for (const Writer& w : writers)
                if (&w != left_out)
                    all = (w.uuid == users.uuid ? users.add(all, w.data)
                           : !w.suffix          ? users.add(all, w.uuid, w.data)
                                                : editor.add(all, 5, payload_of(w.uuid, w.data), true))
                              ->to_bytes();
            return all;
        };
        UserDataEditor editor(codec);
        for (const Kept& kept : read_all(codec, read_file(name))) {
            const Bytes all = with_all_but(kept.bytes, nullptr);
            std::vector<Message> expected = read_independently(codec, kept.bytes);
            EXPECT_EQ(sei_messages(codec, all).size(), expected.size() + 4);
            EXPECT_EQ(editor.get(all)->to_bytes(), writers[0].data);
            for (const Writer& w : writers) {
                const unsigned nal_unit_type = codec == Codec::h264 ? 6 : w.suffix ? 40 : 39;
                expected.push_back({nal_unit_type, codec == Codec::h265, 5, payload_of(w.uuid, w.data)});
                EXPECT_EQ(editor.get(all, w.uuid)->to_bytes(), w.data);
                const Bytes left = editor.remove(all, w.uuid)->to_bytes();
                EXPECT_EQ(left, with_all_but(kept.bytes, &w));
                EXPECT_FALSE(editor.get(left, w.uuid));
                EXPECT_EQ(editor.status(), Status::ok);
            }
            EXPECT_TRUE(std::ranges::is_permutation(read_independently(codec, all), expected));
        }
    }
}

constexpr bool kSuffix = true;

TEST(SeiEditor, PutsAMessageWhereTheStandardsWantIt)
{
    struct Case {
        const char* title;
        Codec codec;
        std::uint32_t type;
        bool suffix;
        ::Bytes before, message, after; // of the place
    };
    const Codec avc = Codec::h264;
    const Codec hevc = Codec::h265;
    const ::Bytes sets = "07 00 00 00 01 09 10 00 00 00 01 67 64 00 00 01 68 ee 00"_bytes;
    const ::Bytes avc_sei = "00 00 00 01 06 05 01 09 80 00"_bytes;
    const ::Bytes avc_slice = "00 00 00 01 65 88 84 00 00 01 65 44"_bytes;
    const ::Bytes hevc_sets = "00 00 00 01 46 01 50 00 00 01 42 01 01"_bytes;
    const ::Bytes hevc_sei = "00 00 01 4e 01 05 01 09 80"_bytes;
    const ::Bytes hevc_slice = "00 00 01 02 01 88"_bytes;
    const ::Bytes new_avc_1 = "00 00 00 01 06 01 02 0a 0b 80"_bytes;
    const ::Bytes new_avc_0 = "00 00 00 01 06 00 02 0a 0b 80"_bytes;
    const ::Bytes new_0 = "00 00 00 01 4e 01 00 02 0a 0b 80"_bytes;
    const ::Bytes new_1 = "00 00 00 01 4e 01 01 02 0a 0b 80"_bytes;
    const ::Bytes new_144 = "00 00 00 01 4e 01 90 02 0a 0b 80"_bytes;
    const ::Bytes new_suffix = "00 00 00 01 50 01 84 02 0a 0b 80"_bytes;
    const Case cases[] = {
        {"nothing else", avc, 1, false, {}, new_avc_1, avc_slice},
        {"parameter sets", avc, 1, false, sets, new_avc_1, avc_slice},
        {"other SEI", avc, 1, false, sets + avc_sei + avc_sei, new_avc_1, avc_slice},
        {"SEI between slices", avc, 1, false, sets, new_avc_1, avc_slice + avc_sei + avc_slice},
        {"malformed SEI", avc, 1, false, "00 00 01 06 05 09 00"_bytes, new_avc_1, avc_slice},
        {"SEI without a stop byte", avc, 1, false, "00 00 01 06 05 00"_bytes, new_avc_1, avc_slice},
        {"prefix", avc, 1, false, sets + "00 00 01 0e 40"_bytes + avc_sei, new_avc_1,
         "00 00 00 01 6e 40 00 00 01"_bytes + avc_slice},
        {"partitions", avc, 1, false, sets, new_avc_1, "00 00 00 01 03 88 00 00 01 02 88"_bytes},
        {"bare start code", avc, 1, false, "00 00 01 00 00 01"_bytes, new_avc_1, avc_slice},
        {"buffering period", avc, 0, false, sets, new_avc_0, avc_sei + avc_slice},
        {"a second one", avc, 0, false, sets, new_avc_0, "00 00 00 01 06 00 00 80"_bytes + avc_slice},
        {"before malformed SEI", hevc, 0, false, hevc_sets, new_0,
         "00 00 01 4e 01 05 09 80"_bytes + hevc_slice},
        {"no SEI", avc, 0, false, sets, new_avc_0, avc_slice},
        {"H.265", hevc, 144, false, hevc_sets + hevc_sei, new_144, hevc_slice},
        {"reserved VCL type", hevc, 144, false, hevc_sets, new_144, "00 00 01 34 01 88"_bytes + hevc_slice},
        {"temporal layer", hevc, 144, false, hevc_sets, "00 00 00 01 4e 03 90 02 0a 0b 80"_bytes,
         "00 00 01 00 03 88"_bytes + hevc_slice},
        {"TemporalId that there is not", hevc, 144, false, {}, new_144, "00 00 01 02 00 88"_bytes},
        {"active parameter sets first", hevc, 0, false, hevc_sets + "00 00 01 4e 01 81 01 07 80"_bytes, new_0,
         hevc_sei + hevc_slice},
        {"then the buffering period", hevc, 1, false, "00 00 01 4e 01 00 01 07 80"_bytes, new_1,
         hevc_sei + hevc_slice},
        {"suffix", hevc, 132, kSuffix, hevc_slice + hevc_sei + hevc_slice, new_suffix, {}},
        {"suffix after suffix", hevc, 132, kSuffix,
         hevc_slice + "00 00 01 4c 01 ff 80 00 00 01 50 01 84 00 80"_bytes, new_suffix,
         "00 00 01 4c 01 ff 80 00 00 01 48 01 00 00 01 4a 01"_bytes},
        {"suffix after the sequence", hevc, 132, kSuffix, hevc_slice, new_suffix,
         "00 00 01 48 01 00 00 01 50 01 84 00 80"_bytes},
        {"suffix before the picture", hevc, 132, kSuffix, "00 00 01 50 01 84 00 80"_bytes + hevc_slice,
         new_suffix, "00 00 01 4a 01"_bytes},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.title);
        SeiEditor editor(c.codec);
        const auto added = editor.add(c.before + c.after, c.type, Bytes{0x0A, 0x0B}, c.suffix);
        EXPECT_EQ(editor.status(), Status::ok);
        EXPECT_TRUE(std::ranges::equal(added.value_or(BytesView()), c.before + c.message + c.after));
    }
}

TEST(SeiEditor, CarriesPayloadsOfAllSizesAndTypes)
{
    const Bytes slice = "00 00 01 02 01 88"_bytes;
    SeiEditor editor(Codec::h265);
    for (const unsigned type : {0U, 5U, 254U, 255U, 256U, 1000U})
        for (const std::size_t size : {0U, 1U, 254U, 255U, 510U, 65'536U})
            for (const bool suffix : {false, true})
                for (const unsigned value : {0U, 3U, 0xFFU}) {
                    const Bytes payload(size, static_cast<std::uint8_t>(value));
                    const Bytes unit = editor.add(slice, type, payload, suffix)->to_bytes();
                    const Message expected = {suffix ? 40U : 39U, 1, type, payload};
                    EXPECT_EQ(read_independently(Codec::h265, unit), std::vector<Message>{expected});
                    EXPECT_EQ(sei_messages(Codec::h265, unit).at(0).payload, payload);
                    const auto left =
                        editor.remove(unit, [&](const SeiMessage& m) { return m.payload == payload; });
                    EXPECT_EQ(left->to_bytes(), slice);
                }
    const BytesView huge(slice.data(), SIZE_MAX); // none is looked at
    EXPECT_FALSE(editor.add(slice, 5, huge));
    EXPECT_EQ(editor.status(), Status::too_large);
    EXPECT_FALSE(editor.add(slice, 5, {slice.data(), 0xAAAA'AAAA}));
    EXPECT_EQ(editor.status(), Status::too_large);
    UserDataEditor users(Codec::h265);
    EXPECT_FALSE(users.add(slice, users.uuid, {slice.data(), 0xAAAA'AAAA}));
    EXPECT_EQ(users.status(), Status::too_large);
}

TEST(SeiEditor, RemovesWhatItIsAskedTo)
{
    struct Case {
        Codec codec;
        bool (*which)(const SeiMessage&);
        ::Bytes before, after;
    };
    const auto of_type_0 = [](const SeiMessage& m) { return m.type == 0; };
    const auto of_suffix = [](const SeiMessage& m) { return m.suffix; };
    const auto any = [](const SeiMessage&) { return true; };
    const Case cases[] = {
        {Codec::h264, of_type_0, "00 00 01 06 00 01 07 04 03 00 00 03 01 80 00 00 01 65 88"_bytes,
         "00 00 01 06 04 03 00 00 03 01 80 00 00 01 65 88"_bytes},
        {Codec::h264, of_type_0, "00 00 01 06 00 01 07 80 00 00 01 65 88"_bytes, "00 00 01 65 88"_bytes},
        {Codec::h265, of_suffix,
         "00 00 01 4e 01 04 01 07 80 00 00 01 02 01 88 00 00 01 50 01 04 01 07 80 00 00 01 48 01"_bytes,
         "00 00 01 4e 01 04 01 07 80 00 00 01 02 01 88 00 00 01 48 01"_bytes},
        // Malformed: a message without an end, no stop byte. Then sound, of another layer.
        {Codec::h265, any,
         "00 00 01 4e 01 00 01 07 04 09 07 80 00 00 01 4e 01 00 01 07 00 00 01 4f 09 00 01 07 80"_bytes,
         "00 00 01 4e 01 00 01 07 04 09 07 80 00 00 01 4e 01 00 01 07"_bytes},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        SeiEditor editor(c.codec);
        const auto removed = editor.remove(c.before, c.which);
        EXPECT_TRUE(std::ranges::equal(removed.value_or(BytesView()), c.after));
        EXPECT_EQ(editor.status(), Status::ok);
    }
}

TEST(SeiEditor, SaysWhyNothingIsDone)
{
    SeiEditor avc(Codec::h264);
    SeiEditor hevc(Codec::h265);
    UserDataEditor users(Codec::h265);
    const auto any = [](const SeiMessage&) { return true; };
    const Bytes slice = "00 00 01 02 01 88"_bytes;
    EXPECT_FALSE(avc.add(slice, 5, slice, kSuffix));
    EXPECT_EQ(avc.status(), Status::not_supported);
    for (const ::Bytes& unit : {"00 00 01 4e 01 05 00 80"_bytes, "00 00 01 34 01"_bytes}) {
        EXPECT_FALSE(hevc.add(unit, 5, slice, kSuffix));
        EXPECT_EQ(hevc.status(), Status::no_slice);
        EXPECT_FALSE(users.add(unit, users.uuid, slice));
        EXPECT_EQ(users.status(), Status::no_slice);
    }
    for (const ::Bytes& unit : {""_bytes, "02 01 88"_bytes, "00 00 01 00 00 01"_bytes}) {
        EXPECT_FALSE(hevc.add(unit, 5, slice));
        EXPECT_EQ(hevc.status(), Status::no_start_code);
        EXPECT_EQ(hevc.remove(unit, any).has_value(), unit.size() == 6);
        EXPECT_EQ(hevc.status(), unit.size() == 6 ? Status::ok : Status::no_start_code);
        EXPECT_FALSE(users.get(unit, users.uuid));
        EXPECT_EQ(users.status(), unit.size() == 6 ? Status::ok : Status::no_start_code);
    }
    EXPECT_TRUE(hevc.add(slice, 5, {}));
    EXPECT_EQ(hevc.status(), Status::ok);
}

TEST(SeiEditor, TakesItsOwnAnswers)
{
    const Bytes slice = "00 00 01 65 88 84"_bytes;
    const Uuid ours = uuid_from("ours, 16 letters");
    SeiEditor fresh(Codec::h264);
    const Bytes one = fresh.add(slice, 4, slice)->to_bytes();
    const Bytes two = fresh.add(one, 4, one)->to_bytes();
    SeiEditor editor(Codec::h264);
    auto answer = editor.add(slice, 4, slice);
    EXPECT_EQ((answer = editor.add(*answer, 4, *answer))->to_bytes(), two);
    const auto large = [](const SeiMessage& m) { return m.payload.size() > 6; };
    EXPECT_EQ((answer = editor.remove(*answer, large))->to_bytes(), one);
    EXPECT_EQ((answer = editor.add(*answer, 4, *answer))->to_bytes(), two);
    EXPECT_EQ((answer = editor.remove(*answer, large))->to_bytes(), one);

    UserDataEditor users(Codec::h264);
    const Bytes with = users.add(slice, ours, slice)->to_bytes();
    answer = users.add(slice, ours, slice);
    answer = users.add(*answer, ours, *answer);
    EXPECT_EQ((answer = users.get(*answer, ours))->to_bytes(), with);
    EXPECT_EQ((answer = users.get(*answer, ours))->to_bytes(), slice);
    EXPECT_EQ((answer = users.add(*answer, ours, *answer))->to_bytes(), with);
    const Bytes both = UserDataEditor(Codec::h264).add(with, with)->to_bytes();
    EXPECT_EQ((answer = users.add(*answer, *answer))->to_bytes(), both);
    EXPECT_EQ(users.remove(*users.remove(*answer), ours)->to_bytes(), slice);
}

} // namespace
