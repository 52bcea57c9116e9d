// SPDX-License-Identifier: MIT
// Passes a stream on and tells where it is broken, as a gateway behind a lossy link would: gateway IN OUT.
// Access units of a broken stream are held back until the next key frame.
#include "Files.h"

#include <cstdio>
#include <string>

namespace {

class Gateway {
public:
    Gateway(nalsmith::Codec codec, const char* file)
        : reader_(codec), checker_(codec), out_(file, std::ios::binary)
    {
    }

    bool take(nalsmith::BytesView packet)
    {
        failed_ = reader_.push(packet, packets_++) != nalsmith::Status::ok || failed_;
        forward();
        return !failed_;
    }

    bool finish()
    {
        failed_ = reader_.finish() != nalsmith::Status::ok || failed_;
        forward();
        std::printf("%u breaks, %u access units held back\n", breaks_, held_back_);
        return !failed_ && out_.flush().good();
    }

private:
    void forward()
    {
        while (const auto unit = reader_.next()) {
            const nalsmith::Verdict verdict = checker_.check(unit->bytes);
            if (verdict.broken()) {
                std::printf("packet %llu: %s\n", static_cast<unsigned long long>(unit->tag),
                            to_string(verdict.finding));
                ++breaks_;
            }
            waiting_ = verdict.broken() || (waiting_ && !unit->key);
            if (waiting_)
                ++held_back_;
            else
                write(out_, unit->bytes);
        }
    }

    nalsmith::AccessUnitReader reader_;
    nalsmith::ContinuityChecker checker_;
    std::ofstream out_;
    bool waiting_ = false;
    bool failed_ = false;
    std::uint64_t packets_ = 0;
    unsigned breaks_ = 0;
    unsigned held_back_ = 0;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    Gateway gateway(codec_of(argv[1]), argv[2]);
    const bool all =
        for_each_piece(argv[1], 1316, [&](nalsmith::BytesView packet) { return gateway.take(packet); });
    return gateway.finish() && all ? 0 : 1;
}
