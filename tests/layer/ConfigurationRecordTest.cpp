// SPDX-License-Identifier: MIT
// Configuration records, read and written.
#include "LayerStreams.h"

#include "AvcStream.h"
#include "HevcStream.h"

namespace {

using namespace layertest;
using nalsmith::Bytes;
using nalsmith::Status;

TEST(ConfigurationRecord, GivesItsParameterSets)
{
    const Bytes avc = {1, 100, 0, 31, 0xFD, 0xE1, 0, 2, 0x67, 9, 2, 0, 1, 0x68, 0, 2, 0x68, 7};
    CodecConfiguration configuration;
    ASSERT_EQ(read_avc_configuration(avc, configuration), Status::ok);
    EXPECT_EQ(configuration.length_size, 2u);
    EXPECT_EQ(configuration.profile, 100u);
    EXPECT_EQ(configuration.level, 31u);
    EXPECT_EQ(configuration.parameter_sets,
              (Bytes{0, 0, 0, 1, 0x67, 9, 0, 0, 0, 1, 0x68, 0, 0, 0, 1, 0x68, 7}));

    Bytes hevc(22, 0);
    hevc[0] = 1;
    hevc[1] = 2;
    hevc[12] = 93;
    hevc[21] = 3;
    append(hevc, Bytes{2, 0x20, 0, 1, 0, 3, 0x40, 1, 5, 0x21, 0, 1, 0, 3, 0x42, 1, 6});
    ASSERT_EQ(read_hevc_configuration(hevc, configuration), Status::ok);
    EXPECT_EQ(configuration.length_size, 4u);
    EXPECT_EQ(configuration.level, 93u);
    EXPECT_EQ(configuration.parameter_sets, (Bytes{0, 0, 0, 1, 0x40, 1, 5, 0, 0, 0, 1, 0x42, 1, 6}));

    CodecConfiguration within;
    within.parameter_sets = hevc;
    EXPECT_EQ(read_hevc_configuration(within.parameter_sets, within), Status::ok);
    EXPECT_EQ(within.parameter_sets, configuration.parameter_sets);
    within.parameter_sets = avc;
    EXPECT_EQ(read_avc_configuration(within.parameter_sets, within), Status::ok);
    EXPECT_EQ(within.parameter_sets.size(), 17u);

    for (const Bytes& record : {avc, hevc})
        for (std::size_t size = 0; size < record.size(); ++size) {
            const BytesView cut = BytesView(record).subview(0, size);
            EXPECT_EQ(record.size() == avc.size() ? read_avc_configuration(cut, configuration)
                                                  : read_hevc_configuration(cut, configuration),
                      Status::malformed);
        }
}

ParameterSets sets_of(Codec codec, const std::vector<::Bytes>& all)
{
    ParameterSets sets;
    for (const ::Bytes& set : all)
        sets.add_all(codec, BytesView(set.data(), set.size()));
    return sets;
}

Bytes front(const std::optional<Bytes>& record, std::size_t size)
{
    return record.value_or(Bytes()).size() < size ? Bytes()
                                                  : Bytes(record->begin(), record->begin() + long(size));
}

// The sets that a record was made of come out of it again.
void expect_back(Codec codec, const ParameterSets& sets)
{
    const bool avc = codec == Codec::h264;
    for (const unsigned size : {1U, 2U, 4U}) {
        const auto record = avc ? write_avc_configuration(sets, size) : write_hevc_configuration(sets, size);
        ASSERT_TRUE(record);
        CodecConfiguration read;
        EXPECT_EQ(avc ? read_avc_configuration(*record, read) : read_hevc_configuration(*record, read),
                  Status::ok);
        EXPECT_EQ(read.length_size, size);
        EXPECT_EQ(read.parameter_sets, sets.to_annex_b());
    }
    EXPECT_FALSE(avc ? write_avc_configuration(sets, 3) : write_hevc_configuration(sets, 3));
}

TEST(ConfigurationRecord, OfH264HasTheLeastThatFitsAllItsSets)
{
    using namespace avctest;
    const Sps base{.constraint_flags = 0x40};
    const ParameterSets plain = sets_of(Codec::h264, {Pps{.pic_parameter_set_id = 2}, base, Pps()});
    expect_back(Codec::h264, plain);
    EXPECT_EQ(front(write_avc_configuration(plain), 8), (Bytes{1, 66, 0x40, 30, 0xFF, 0xE1, 0, 7}));
    EXPECT_EQ(write_avc_configuration(plain)->back(), plain.all()[2].bytes.back()); // no High fields

    const Sps high{.profile_idc = 122,
                   .constraint_flags = 0x13,
                   .level_idc = 51,
                   .seq_parameter_set_id = 3,
                   .chroma_format = true,
                   .chroma_format_idc = 2};
    const ParameterSets both = sets_of(Codec::h264, {high, Sps{.constraint_flags = 0x12}, Pps()});
    expect_back(Codec::h264, both);
    const Bytes record = write_avc_configuration(both, 2).value();
    EXPECT_EQ(front(record, 6), (Bytes{1, 122, 0x12, 51, 0xFD, 0xE2}));
    EXPECT_EQ(Bytes(record.end() - 4, record.end()), (Bytes{0xFE, 0xFA, 0xF9, 0}));

    Sps odd = high;
    odd.chroma_format_idc = 4;
    EXPECT_FALSE(write_avc_configuration(sets_of(Codec::h264, {odd, Pps()})));
    EXPECT_FALSE(write_avc_configuration(sets_of(Codec::h264, {base})));
    EXPECT_FALSE(write_avc_configuration(sets_of(Codec::h264, {Pps()})));
    ParameterSets many = sets_of(Codec::h264, {Pps()});
    for (u32 id = 0; id < 32; ++id) {
        EXPECT_EQ(write_avc_configuration(many).has_value(), id != 0);
        const ::Bytes sps = Sps{.seq_parameter_set_id = id};
        many.add_all(Codec::h264, BytesView(sps.data(), sps.size()));
    }
    EXPECT_FALSE(write_avc_configuration(many));
    ::Bytes large = Pps();
    large.resize(4 + 65535, 0x55);
    EXPECT_TRUE(write_avc_configuration(sets_of(Codec::h264, {base, large})));
    large.push_back(0x55);
    EXPECT_FALSE(write_avc_configuration(sets_of(Codec::h264, {base, large})));
}

TEST(ConfigurationRecord, OfH265HasTheLeastThatFitsAllItsSets)
{
    using namespace hevctest;
    const Sps other{.subLayers = {{1, 1}, {0, 1}}, .sps_seq_parameter_set_id = 1, .chroma_format_idc = 2};
    const ParameterSets sets = sets_of(Codec::h265, {Pps(), Sps(), other, Vps()});
    expect_back(Codec::h265, sets);
    const Bytes record = front(write_hevc_configuration(sets), 28);
    EXPECT_EQ(record, (Bytes{1, 0x21, 0x60, 0,    0,    1, 0x95, 0x55, 0x55, 0x55, 0x55, 0x55, 93, 0xF0,
                             0, 0xFC, 0xFE, 0xFA, 0xF9, 0, 0,    0x1F, 3,    0xA0, 0,    1,    0,  22}));
    EXPECT_FALSE(write_hevc_configuration(sets_of(Codec::h265, {Pps(), Sps()})));
}

TEST(LengthPrefixed, LeavesOutWhatItIsTold)
{
    const Bytes stream = {0, 0, 1, 0x46, 1, 0x50, 0, 0, 1, 0x42, 1, 7, 0, 0, 1, 0x26, 1, 9};
    for (const bool sets : {false, true})
        for (const bool delimiters : {false, true}) {
            Bytes expected, out;
            if (!delimiters)
                append(expected, Bytes{3, 0x46, 1, 0x50});
            if (!sets)
                append(expected, Bytes{3, 0x42, 1, 7});
            append(expected, Bytes{3, 0x26, 1, 9});
            EXPECT_EQ(to_length_prefixed(Codec::h265, stream, 1, out, {sets, delimiters}), Status::ok);
            EXPECT_EQ(out, expected);
        }
}

} // namespace
