// SPDX-License-Identifier: MIT
// Streams of files, against facts written down beside them.
#include "BitWriter.h"
#include "Handles.h"
#include "HevcStream.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;

Bytes ReadFile(const std::string& name)
{
    std::ifstream file(NALSMITH_STREAMS "/" + name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    const std::string content(std::istreambuf_iterator<char>(file), {});
    return Bytes(content.begin(), content.end());
}

json ReadFacts()
{
    const Bytes text = ReadFile("facts.json");
    return json::parse(text.begin(), text.end());
}

// What a run gave, in the form of the facts.
json FactsOf(const std::vector<Reported>& units)
{
    json facts = {{"sizes", json::array()}, {"key", json::array()}, {"sequence", json::object()}};
    for (std::size_t i = 0; i < units.size(); ++i) {
        const VideoInfo& info = units[i].info;
        facts["sizes"].push_back(info.frameSize);
        if (info.keyFrame != 0)
            facts["key"].push_back(i);
        if (info.sequenceInfoValid != 0)
            facts["sequence"][std::to_string(i)] = SequenceFieldsOf(info);
    }
    return facts;
}

// The parameter sets that are inserted, in their order.
template <typename Parser>
Bytes RetainedBy(const Parser& parser)
{
    Bytes sets;
    if constexpr (std::is_same_v<Parser, CParseHEVCParams>)
        sets = Bytes(parser.vpsNal, parser.vpsNal + parser.vpsNalSize);
    return sets + Bytes(parser.spsNal, parser.spsNal + parser.spsNalSize) +
           Bytes(parser.ppsNal, parser.ppsNal + parser.ppsNalSize);
}

TEST(StreamFiles, YieldTheAccessUnitsWrittenDown)
{
    const json allFacts = ReadFacts();
    EXPECT_EQ(allFacts.size(), 8u);
    for (const auto& [name, facts] : allFacts.items()) {
        SCOPED_TRACE(name);
        const std::vector<Bytes> nals = SplitNalUnits(ReadFile(name));
        const bool hevc = name.ends_with(".h265");
        const ParsingHandle handle(hevc ? VideoCodecHEVC : VideoCodecAVC);
        const std::vector<Reported> units = handle.FeedAll(nals);
        json expected = facts;
        expected.erase("inserted");
        expected.erase("poc");
        EXPECT_EQ(FactsOf(units), expected);

        // Without the sets inserted, the units are the file's NAL units in their order.
        const Bytes sets = hevc ? RetainedBy(handle.Hevc()) : RetainedBy(handle.Avc());
        std::vector<Bytes> stored;
        for (std::size_t i = 0; i < units.size(); ++i) {
            Bytes frame = units[i].frame;
            if (const auto inserted = facts["inserted"].find(std::to_string(i));
                inserted != facts["inserted"].end()) {
                EXPECT_EQ(*inserted, sets.size());
                const auto at = std::search(frame.begin(), frame.end(), sets.begin(), sets.end());
                ASSERT_NE(at, frame.end());
                EXPECT_TRUE(!hevc || at == frame.begin()); // in front of the delimiter as well
                frame.erase(at, at + sets.Size());
            }
            for (const Bytes& nal : SplitNalUnits(frame))
                stored.push_back(nal);
        }
        EXPECT_TRUE(IsSubsequence(stored, nals));
    }
}

TEST(StreamFiles, YieldThePictureOrderCountsWrittenDown)
{
    const char* const name = "hevc_poc_lsb_4_bits.h265"; // of one slice segment a picture
    const ParsingHandle handle(VideoCodecHEVC);
    std::vector<i32> counts;
    for (const Bytes& nal : SplitNalUnits(ReadFile(name))) {
        handle.Feed(nal);
        if (hevctest::IsSlice(nal[nal[2] == 1 ? 3 : 4] >> 1))
            counts.push_back(handle.Hevc().picOrderCnt);
    }
    EXPECT_EQ(json(counts), ReadFacts()[name]["poc"]);
}

} // namespace
