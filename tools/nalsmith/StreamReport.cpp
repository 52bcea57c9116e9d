// SPDX-License-Identifier: MIT
#include "StreamReport.h"

namespace host {
namespace {

// H.264 Table 7-6: from 5 on the type holds for all slices of the picture.
UnitKind KindOfPictureType(VideoPicType type)
{
    switch (static_cast<int>(type) % 5) {
    case 0: return UnitKind::Predicted;
    case 1: return UnitKind::Bipredicted;
    case 2: return UnitKind::Intra;
    default: return UnitKind::Other; // SP, SI
    }
}

// H.265 Table 7-1: without the parameter sets the type of the NAL unit tells more than the slice.
UnitKind KindOfNalType(unsigned nal_unit_type)
{
    if (nal_unit_type >= 16 && nal_unit_type <= 23)
        return UnitKind::Intra;
    return nal_unit_type >= 6 && nal_unit_type <= 9 ? UnitKind::Leading : UnitKind::Predicted;
}

UnitKind KindOf(nalsmith::Codec codec, const nalsmith::AccessUnit& unit)
{
    if (codec == nalsmith::Codec::h264)
        return unit.has_picture ? KindOfPictureType(unit.picture_type) : UnitKind::Other;
    for (const nalsmith::NalUnit& nal : nalsmith::NalUnits(codec, unit.bytes))
        if (nal.is_slice())
            return KindOfNalType(nal.type());
    return UnitKind::Other;
}

} // namespace

void StreamReport::Add(const nalsmith::AccessUnit& unit, bool counts)
{
    const std::uint64_t index = units_.size();
    const nalsmith::Verdict verdict = checker_.check(unit);
    if (verdict.broken())
        breaks_.push_back({index, verdict.finding});
    for (const nalsmith::NalUnit& nal : nalsmith::NalUnits(codec_, unit.bytes)) {
        if (nal.bare())
            continue;
        TypeShare& share = types_[nal.type()];
        ++share.count;
        share.bytes += nal.bytes.size();
        sets_.add(nal);
    }
    AddSequence(unit.sequence);
    bytes_ += unit.bytes.size();
    keyFrames_ += unit.key ? 1 : 0;
    if (counts)
        units_.push_back({unit.bytes.size(), KindOf(codec_, unit), unit.key, verdict.broken()});
}

void StreamReport::AddSequence(const std::optional<nalsmith::SequenceParameters>& sequence)
{
    if (sequence && (sequences_.empty() || sequences_.back().parameters != *sequence))
        sequences_.push_back({units_.size(), *sequence});
}

} // namespace host
