// SPDX-License-Identifier: MIT
#include "PerFrameData.h"

#include "DataText.h"
#include "Failure.h"
#include "Files.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace host {
namespace {

using Fault = std::invalid_argument; // tells what is wrong with a line

std::uint64_t IndexOf(const Json& line)
{
    const auto index = line.find("index");
    if (index == line.end() || !index->is_number_unsigned())
        throw Fault("\"index\" has to be a whole number from 0 on");
    return index->get<std::uint64_t>();
}

std::vector<std::uint8_t> DataOf(const Json& line)
{
    const auto text = line.find("text");
    const auto base64 = line.find("base64");
    if ((text == line.end()) == (base64 == line.end()))
        throw Fault("has to have \"text\" or \"base64\", and not both");
    const Json& value = text != line.end() ? *text : *base64;
    if (!value.is_string())
        throw Fault("\"text\" and \"base64\" have to be strings");
    const auto& string = value.get_ref<const std::string&>();
    if (text != line.end())
        return {string.begin(), string.end()};
    auto bytes = DecodeBase64(string);
    if (!bytes)
        throw Fault("\"base64\" is not Base64");
    return std::move(*bytes);
}

void AddLine(PerFrameData& data, std::string_view text)
{
    const Json line = Json::parse(text.begin(), text.end(), nullptr, false);
    if (!line.is_object())
        throw Fault("no JSON object");
    if (!data.emplace(IndexOf(line), DataOf(line)).second)
        throw Fault("an access unit can be given only one");
}

} // namespace

PerFrameData ReadPerFrameData(const std::string& path)
{
    const std::vector<std::uint8_t> bytes = ReadAll(path);
    std::string_view rest(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    PerFrameData data;
    for (std::uint64_t number = 1; !rest.empty(); ++number) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        if (line.find_first_not_of(" \t\r") == std::string_view::npos)
            continue;
        try {
            AddLine(data, line);
        } catch (const Fault& fault) {
            throw Failure(ExitStatus::BadInput, fmt::format("{}: line {}: {}", path, number, fault.what()));
        }
    }
    return data;
}

} // namespace host
