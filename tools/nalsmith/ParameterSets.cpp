// SPDX-License-Identifier: MIT
#include "ParameterSets.h"

#include <functional>
#include <string_view>

namespace host {
namespace {

// H.264 7.4.2.1.1 and 7.4.2.2, H.265 7.4.3.2.1 and 7.4.3.3.1. An NAL unit cut short has an id beyond.
constexpr unsigned kMostIds = 256;

std::uint64_t HashOf(nalsmith::BytesView unit)
{
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(unit.data()), unit.size()});
}

} // namespace

const char* NameOf(nalsmith::ParameterSetKind kind)
{
    switch (kind) {
    case nalsmith::ParameterSetKind::vps: return "VPS";
    case nalsmith::ParameterSetKind::sps: return "SPS";
    case nalsmith::ParameterSetKind::pps: return "PPS";
    }
    return "";
}

bool SentSets::Add(const nalsmith::NalUnit& nal)
{
    const nalsmith::BytesView unit = nal.payload();
    const std::size_t header = nal.codec == nalsmith::Codec::h264 ? 1 : 2;
    if (nal.forbidden() || !nal.is_parameter_set() || nal.layer_id() != 0 || unit.size() <= header)
        return false;
    const nalsmith::ParameterSetId set = nalsmith::identify_parameter_set(nal);
    if (set.id >= kMostIds)
        return false;
    const auto [place, isNew] =
        places_.try_emplace({set.kind, set.id, unit.size(), HashOf(unit)}, sets_.size());
    if (isNew)
        sets_.push_back({NameOf(set.kind), set.id, unit.size(), 0});
    ++sets_[place->second].sent;
    return isNew;
}

} // namespace host
