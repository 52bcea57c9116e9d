// SPDX-License-Identifier: MIT
// The umbrella header by itself, as the first and only include, built without exceptions. C++17.
#include <nalsmith/nalsmith.hpp>

int main()
{
    nalsmith::AccessUnitReader reader(nalsmith::Codec::h265);
    nalsmith::AccessUnitReader moved = std::move(reader);
    const std::uint8_t stream[] = {0, 0, 1, 0x40, 1, 2};
    const bool held = moved.push({stream, sizeof stream}) == nalsmith::Status::ok && !moved.next();
    const bool ended = moved.finish() == nalsmith::Status::ok && moved.next()->bytes.size() == sizeof stream;
    return held && ended ? 0 : 1;
}
