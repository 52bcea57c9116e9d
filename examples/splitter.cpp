// SPDX-License-Identifier: MIT
// Splits a stream at its key frames into files that each play alone: splitter IN PREFIX, which writes
// PREFIX0.h264 and so on.
#include "Files.h"

#include <cstdio>
#include <string>

namespace {

class Splitter {
public:
    Splitter(nalsmith::Codec codec, std::string prefix)
        : suffix_(codec == nalsmith::Codec::h264 ? ".h264" : ".h265"), prefix_(std::move(prefix))
    {
    }

    void take(const nalsmith::AccessUnit& unit)
    {
        if (unit.key || !part_.is_open())
            begin(unit);
        write(part_, unit.bytes);
        good_ = good_ && part_.good();
    }

    bool good() const { return good_; }

private:
    void begin(const nalsmith::AccessUnit& unit)
    {
        const std::string name = prefix_ + std::to_string(parts_++) + suffix_;
        part_ = std::ofstream(name, std::ios::binary);
        std::printf("%s from byte %llu", name.c_str(), static_cast<unsigned long long>(unit.position));
        if (unit.sequence)
            std::printf(", %ux%u", unit.sequence->width, unit.sequence->height);
        std::printf("\n");
    }

    std::string suffix_;
    std::string prefix_;
    std::ofstream part_;
    unsigned parts_ = 0;
    bool good_ = true;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    nalsmith::ReaderOptions options;
    options.self_contained = true;
    nalsmith::AccessUnitReader reader(codec_of(argv[1]), options);
    Splitter splitter(codec_of(argv[1]), argv[2]);
    const auto split = [&](nalsmith::Status status) {
        while (const auto unit = reader.next())
            splitter.take(*unit);
        return status == nalsmith::Status::ok;
    };
    const bool all =
        for_each_piece(argv[1], 65536, [&](nalsmith::BytesView piece) { return split(reader.push(piece)); });
    return split(reader.finish()) && all && splitter.good() ? 0 : 1;
}
