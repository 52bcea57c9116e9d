// SPDX-License-Identifier: MIT
// Streams of files, against facts written down beside them.
#include "BitWriter.h"
#include "Handles.h"

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

TEST(StreamFiles, YieldTheAccessUnitsWrittenDown)
{
    const Bytes text = ReadFile("facts.json");
    const json allFacts = json::parse(text.begin(), text.end());
    EXPECT_EQ(allFacts.size(), 5u);
    for (const auto& [name, facts] : allFacts.items()) {
        SCOPED_TRACE(name);
        const std::vector<Bytes> nals = SplitNalUnits(ReadFile(name));
        const ParsingHandle handle;
        const std::vector<Reported> units = handle.FeedAll(nals);
        json expected = facts;
        expected.erase("inserted");
        EXPECT_EQ(FactsOf(units), expected);

        // Without the sets inserted, the units are the file's NAL units in their order.
        const CParseAVCParams& parser = handle.Avc();
        const Bytes sets = Bytes(parser.spsNal, parser.spsNal + parser.spsNalSize) +
                           Bytes(parser.ppsNal, parser.ppsNal + parser.ppsNalSize);
        std::vector<Bytes> stored;
        for (std::size_t i = 0; i < units.size(); ++i) {
            Bytes frame = units[i].frame;
            if (const auto inserted = facts["inserted"].find(std::to_string(i));
                inserted != facts["inserted"].end()) {
                EXPECT_EQ(*inserted, sets.size());
                const auto at = std::search(frame.begin(), frame.end(), sets.begin(), sets.end());
                ASSERT_NE(at, frame.end());
                frame.erase(at, at + sets.Size());
            }
            for (const Bytes& nal : SplitNalUnits(frame))
                stored.push_back(nal);
        }
        EXPECT_TRUE(IsSubsequence(stored, nals));
    }
}

} // namespace
