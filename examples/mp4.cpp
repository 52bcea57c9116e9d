// SPDX-License-Identifier: MIT
// Records a stream of frames in MP4 files, each from an entry point on, another where the parameter sets
// change: mp4 IN OUT writes OUT0.mp4, OUT1.mp4, ...
#include "Files.h"
#include "Mp4File.h"

#include <memory>
#include <numeric>

using namespace nalsmith;

namespace {

constexpr std::int64_t kMostReordered = 16; // pictures that wait for their turn (H.264 A.3.1, H.265 A.4.2)

struct Frame {
    Bytes bytes;
    bool key, restarts;
    std::int64_t order;
};

class Recorder {
public:
    Recorder(Codec codec, std::string name) : codec_(codec), name_(std::move(name)), checker_(codec) {}

    bool take(const AccessUnit& unit)
    {
        if (unit.entry() && !end_group())
            return false;
        const bool changed = sets_.add_all(codec_, unit.bytes);
        if (unit.entry() && (changed || !file_))
            checker_.reset(); // nothing before is in the same file
        const bool decodable = checker_.check(unit).decodable;
        if (unit.entry())
            entry_ = unit.picture_order;
        if (!entry_ || !unit.picture_order || (!decodable && unit.picture_order < entry_))
            return true; // it refers to pictures before the entry point
        sequence_ = *unit.sequence;
        group_.push_back({unit.bytes.to_bytes(), unit.key, unit.order_restarts, *unit.picture_order});
        return true;
    }

    bool end_group()
    {
        if (group_.empty())
            return true;
        const auto record =
            codec_ == Codec::h264 ? write_avc_configuration(sets_) : write_hevc_configuration(sets_);
        if (!record)
            return false;
        if (!file_ || *record != record_) {
            file_.reset();
            file_ = std::make_unique<Mp4File>(name_ + std::to_string(files_++) + ".mp4", codec_, *record,
                                              sequence_);
            record_ = *record;
        }
        return write_group();
    }

private:
    bool write_group()
    {
        for (std::size_t i = 1; i < group_.size(); ++i)
            if (!group_[i].restarts)
                step_ = std::gcd(step_, group_[i].order - group_[i - 1].order);
        bool good = true;
        for (std::size_t i = 0; i < group_.size() && good; ++i) {
            if (written_ == 0 || group_[i].restarts)
                begin_count(i);
            Bytes sample;
            const std::int64_t pts = shown_ + (group_[i].order - lowest_) / (step_ != 0 ? step_ : 1);
            good = to_length_prefixed(codec_, group_[i].bytes, 4, sample, {true, true}) == Status::ok &&
                   file_->write(sample, group_[i].key, written_ - kMostReordered, pts);
            ++written_;
        }
        group_.clear();
        return good;
    }

    // All frames before are shown before; those of leading pictures, before the entry point.
    void begin_count(std::size_t at)
    {
        shown_ = written_;
        lowest_ = group_[at].order;
        for (++at; at < group_.size() && !group_[at].restarts; ++at)
            lowest_ = std::min(lowest_, group_[at].order);
    }

    Codec codec_;
    std::string name_;
    ContinuityChecker checker_;
    ParameterSets sets_;
    std::unique_ptr<Mp4File> file_;
    Bytes record_;
    std::vector<Frame> group_; // from an entry point on, in decoding order
    SequenceParameters sequence_;
    std::optional<std::int64_t> entry_; // the order of the last entry point
    std::int64_t written_ = 0, shown_ = 0, lowest_ = 0, step_ = 0;
    int files_ = 0;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    Recorder recorder(codec_of(argv[1]), argv[2]);
    AccessUnitReader reader(codec_of(argv[1]));
    const auto drain = [&] {
        bool good = reader.status() == Status::ok;
        while (const auto unit = reader.next())
            good = recorder.take(*unit) && good;
        return good;
    };
    const bool all = for_each_piece(
        argv[1], 4096, [&](BytesView piece) { return reader.push(piece) == Status::ok && drain(); });
    return reader.finish() == Status::ok && drain() && recorder.end_group() && all ? 0 : 1;
}
