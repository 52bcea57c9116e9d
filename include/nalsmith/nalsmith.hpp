// SPDX-License-Identifier: MIT
/// \file
/// The C++ layer on the fifteen functions: what a program that reads or edits streams needs, without their
/// sharp edges. Header-only, C++17, with or without exceptions; it needs the standard library and
/// libnalsmith.
///
/// | job | type |
/// |---|---|
/// | bytes to access units | AccessUnitReader |
/// | user data in access units, under any UUID | UserDataEditor |
/// | SEI messages of any type | sei_messages(), SeiEditor |
/// | losses in a stream | ContinuityChecker |
/// | NAL units of a buffer | NalUnits |
/// | parameter sets of a stream | ParameterSets, read_sequence() |
/// | length-prefixed NAL units | to_annex_b(), to_length_prefixed() |
/// | configuration records | read_avc_configuration(), write_avc_configuration(), ... |
/// | the functions themselves | ParsingHandle, UserDataHandle |
///
/// Outcomes are values: Status, std::optional. The layer throws nothing of its own; where the containers of
/// the standard library find no memory they do what they always do. Objects have no shared state: each is
/// used by one thread at a time, different ones by different threads at once.
#ifndef NALSMITH_NALSMITH_HPP
#define NALSMITH_NALSMITH_HPP

#include "nalsmith/access_unit_reader.hpp"
#include "nalsmith/configuration_record.hpp"
#include "nalsmith/continuity.hpp"
#include "nalsmith/length_prefixed.hpp"
#include "nalsmith/sei.hpp"
#include "nalsmith/sei_editor.hpp"
#include "nalsmith/user_data.hpp"

#endif
