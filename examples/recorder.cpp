// SPDX-License-Identifier: MIT
// Records a stream from its first key frame on, in a file that any decoder can begin with: recorder IN OUT.
#include "Files.h"

#include <cstdio>
#include <string>

namespace {

class Recorder {
public:
    Recorder(nalsmith::Codec codec, const char* file)
        : reader_(codec, options()), out_(file, std::ios::binary)
    {
    }

    bool push(nalsmith::BytesView piece)
    {
        const nalsmith::Status status = reader_.push(piece);
        write();
        if (status != nalsmith::Status::ok)
            std::fprintf(stderr, "%s\n", to_string(status));
        return status == nalsmith::Status::ok;
    }

    bool finish()
    {
        const nalsmith::Status status = reader_.finish();
        write();
        std::printf("%zu access units recorded, %zu before the first key frame left out\n", recorded_,
                    skipped_);
        return status == nalsmith::Status::ok && out_.flush().good();
    }

private:
    static nalsmith::ReaderOptions options()
    {
        nalsmith::ReaderOptions options;
        options.self_contained = true; // a recording may be cut at any key frame later
        return options;
    }

    void write()
    {
        while (const auto unit = reader_.next()) {
            if (recorded_ == 0 && !unit->key) {
                ++skipped_;
                continue;
            }
            ::write(out_, unit->bytes);
            ++recorded_;
        }
    }

    nalsmith::AccessUnitReader reader_;
    std::ofstream out_;
    std::size_t recorded_ = 0;
    std::size_t skipped_ = 0;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    Recorder recorder(codec_of(argv[1]), argv[2]);
    const bool all =
        for_each_piece(argv[1], 4096, [&](nalsmith::BytesView piece) { return recorder.push(piece); });
    return recorder.finish() && all ? 0 : 1;
}
