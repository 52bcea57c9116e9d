// SPDX-License-Identifier: MIT
// Handles share nothing: many at work at once answer as each would alone.
#include "BothHandles.h"

#include <thread>

namespace {

using Answers = std::vector<std::vector<Answer>>;

// The whole stream in pieces that grow and shrink.
Answers AnswersTo(VideoCodecType codec, const Bytes& stream)
{
    Answers answers;
    const BothHandles handles(codec);
    std::size_t piece = 1;
    for (std::size_t at = 0; at < stream.size(); at += piece) {
        piece = std::min<std::size_t>(piece * 7 % 3001, stream.size() - at);
        const Bytes copy = stream.From(at, piece);
        answers.push_back(handles.Call(copy.data(), copy.Size()));
    }
    return answers;
}

TEST(Isolation, EightHandlesOnEightThreadsAnswerAsEachAlone)
{
    const Bytes streams[] = {StreamFile(kSmallStreams[0].file), StreamFile(kSmallStreams[1].file)};
    const Answers alone[] = {AnswersTo(VideoCodecAVC, streams[0]), AnswersTo(VideoCodecHEVC, streams[1])};
    EXPECT_GT(alone[0].size(), 3u);
    Answers together[8];
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < 8; ++i)
        threads.emplace_back([&, i] {
            for (int round = 0; round < 3; ++round)
                together[i] = AnswersTo(kSmallStreams[i % 2].codec, streams[i % 2]);
        });
    for (std::thread& thread : threads)
        thread.join();
    for (std::size_t i = 0; i < 8; ++i)
        EXPECT_EQ(together[i], alone[i % 2]) << i;
}

} // namespace
