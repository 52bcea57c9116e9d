// SPDX-License-Identifier: MIT
// Writes the corpora to begin with: fuzz-seeds FOLDER [STREAM...] makes FOLDER/fuzz-stream and so on.
#include "Generator.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

namespace {

using std::filesystem::path;

class Corpora {
public:
    explicit Corpora(path folder) : folder_(std::move(folder)) {}

    // At most 2000 bytes of a stream, mostly ended within a NAL unit. A fuzzer reads its choices from the end
    // on.
    void AddStream(const Bytes& stream, bool hevc)
    {
        const Bytes part = stream.From(0, std::min<std::size_t>(stream.size(), 2000));
        Add("fuzz-stream", part + Choices(22, hevc));
        Add("fuzz-operations", part + Choices(80, hevc));
        Add("fuzz-userdata", part + "00 00 03 41 00 00 01"_bytes + Bytes{0, 7, hevc});
        Add("fuzz-kernels", part);
        Add("fuzz-layer", part + Choices(14, hevc));
        Add("fuzz-structured", Choices(60 + 5 * static_cast<u32>(count_ % 200), hevc));
    }
    // By the builders, nearly valid.
    void AddGenerated(bool hevc)
    {
        const Bytes choices = Choices(500, hevc);
        FuzzedDataProvider provider(choices.data(), choices.size());
        fuzz::Generator generator(provider, hevc ? VideoCodecHEVC : VideoCodecAVC);
        Bytes stream;
        while (provider.remaining_bytes() > 0)
            stream = stream + generator.Unit();
        AddStream(stream, hevc);
    }
    bool Failed() const { return failed_; }

private:
    void Add(const char* fuzzer, const Bytes& content)
    {
        const path to = folder_ / fuzzer;
        std::filesystem::create_directories(to);
        std::ofstream out(to / ("seed-" + std::to_string(++count_)), std::ios::binary);
        std::copy(content.begin(), content.end(), std::ostreambuf_iterator<char>(out));
        failed_ = failed_ || !out;
    }
    Bytes Choices(u32 count, bool hevc)
    {
        Bytes choices(count, 0);
        for (u8& choice : choices)
            choice = static_cast<u8>(random_());
        choices.back() = hevc ? 1 : 0;
        return choices;
    }

    path folder_;
    std::mt19937 random_{7};
    int count_ = 0;
    bool failed_ = false;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
        return 2;
    Corpora corpora(argv[1]);
    for (int i = 2; i < argc; ++i) {
        std::ifstream in(argv[i], std::ios::binary);
        const std::string content(std::istreambuf_iterator<char>(in), {});
        corpora.AddStream(Bytes(content.begin(), content.end()), path(argv[i]).extension() == ".h265");
    }
    for (int i = 0; i < 200; ++i)
        corpora.AddGenerated(i % 2 == 1);
    return corpora.Failed() ? 1 : 0;
}
