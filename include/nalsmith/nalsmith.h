// SPDX-License-Identifier: MIT
/// \file
/// Reading H.264 and H.265 elementary streams in Annex-B form, and editing single frames of them.
///
/// Fifteen functions on an opaque handle. There are two kinds of handle:
///
/// - a **parsing handle**, made by ParseCreate() and given back to ParseRelease(), for everything that
///   reads streams, samples, NAL units and parameter sets;
/// - a **user-data handle**, made by UserDataCreate() and given back to UserDataRelease(), for
///   AddUserData(), GetUserData() and RemoveUserData().
///
/// **Status.** Every function returns 0 for success and -1 for failure, also for a handle of the other kind,
/// which stays usable. Nothing is thrown, logged or written to any file.
///
/// **Threads.** There is no global state. A handle is used by one thread at a time; different handles
/// may be used on different threads at once.
///
/// **Memory.** The handle owns every buffer that it hands out; each function says how long its pointers
/// stay valid. All of them end with the release of the handle. Nothing handed out is to be freed.
///
/// **Input.** Buffers are never modified and never read outside their stated size. A buffer holds NAL
/// units behind `00 00 01` or `00 00 00 01` start codes (H.264 Annex B, H.265 Annex B). A NAL unit as
/// handed out begins with its start code and runs up to the next start code or to the end of the buffer.
/// A start code in the last four bytes of a buffer is not seen: those bytes stay part of the NAL unit
/// before them. So the end of a buffer is taken as the end of its last NAL unit.
#ifndef NALSMITH_NALSMITH_H
#define NALSMITH_NALSMITH_H

#include <cstddef>
#include <cstdint>

/// Marks the functions of the shared library. NALSMITH_STATIC is defined where the library is a static one.
#if defined(__GNUC__) && !defined(NALSMITH_STATIC)
#define NALSMITH_API __attribute__((visibility("default")))
#else
#define NALSMITH_API
#endif

/// The coded video format that a handle reads.
enum VideoCodecType : std::int32_t {
    VideoCodecAVC = 0,  ///< ITU-T H.264
    VideoCodecHEVC = 1, ///< ITU-T H.265
};

/// Picture type of an H.264 sample: the `slice_type` of its first slice as coded (H.264 Table 7-6).
enum VideoPicType : std::int32_t {
    VideoPicTypeUnknown = -1, ///< no slice found; always the answer for H.265
    VideoPicTypeP = 0,        ///< P
    VideoPicTypeB = 1,        ///< B
    VideoPicTypeI = 2,        ///< I
    VideoPicTypeSP = 3,       ///< SP (switching P)
    VideoPicTypeSI = 4,       ///< SI (switching I)
    VideoPicTypeAllP = 5,     ///< P, and all slices are
    VideoPicTypeAllB = 6,     ///< B, and all slices are
    VideoPicTypeAllI = 7,     ///< I, and all slices are
    VideoPicTypeAllSP = 8,    ///< SP, and all slices are
    VideoPicTypeAllSI = 9,    ///< SI, and all slices are
};

/// One access unit and the stream parameters that came with it. Written by ParseVideoParams().
///
/// `width` to `matrix_coefficients` are the sequence fields. When `sequenceInfoValid` is 0 they are zero,
/// or hold the values of an earlier access unit that the same call completed.
struct VideoInfo {
    /// 1 when the call completed an access unit, else 0.
    std::uint32_t frameAvailable;
    /// 1 when the sequence fields were set: by a sequence parameter set that came with the access unit
    /// or, for an H.264 key frame without one, by the retained one.
    std::uint32_t sequenceInfoValid;
    /// 1 when the access unit holds a slice of a key picture: H.264 IDR (`nal_unit_type` 5), H.265 BLA,
    /// IDR or CRA (`nal_unit_type` 16 to 21).
    std::uint32_t keyFrame;
    /// First byte of the access unit, start codes included; null when `frameAvailable` is 0. Points into
    /// the handle: intact until the access unit that comes `queueCount` - 1 later has been completed.
    const std::uint8_t* frameData;
    /// Bytes at `frameData`, inserted parameter sets included.
    std::uint32_t frameSize;
    /// Picture width in luma samples, after cropping (H.264 7.4.2.1.1, H.265 7.4.3.2.1).
    std::uint32_t width;
    /// Picture height in luma samples, after cropping.
    std::uint32_t height;
    /// Frames per second is `frameRateNum` / `frameRateDen`. H.264: `time_scale` of the VUI; H.265:
    /// `time_scale` of the VPS or the VUI, whichever was read last. 0 when the stream carries no timing.
    std::uint32_t frameRateNum;
    /// H.264: twice `num_units_in_tick` (H.264 E.2.1), modulo 2^32; H.265: `num_units_in_tick`. 0 when none.
    std::uint32_t frameRateDen;
    /// VUI (H.264 E.2.1, H.265 E.3.1); 0 without a VUI.
    std::uint32_t video_signal_type_present_flag;
    /// 5 (unspecified) when the VUI does not say; 0 without a VUI.
    std::uint32_t video_format;
    /// 1 for full range; 0 when the VUI does not say and without a VUI.
    std::uint32_t video_full_range_flag;
    /// 1 when the three fields below are the stream's own.
    std::uint32_t colour_description_present_flag;
    /// 2 (unspecified) when the VUI does not say; 0 without a VUI. The same for the two below.
    std::uint32_t colour_primaries;
    std::uint32_t transfer_characteristics; ///< as said at `colour_primaries`
    /// `matrix_coeffs` in H.265.
    std::uint32_t matrix_coefficients;
};

/// Verdict on one sample. Written by VideoSampleTest().
struct VideoInfoEx {
    /// 1 when the sample cannot be decoded in sequence: its parameter sets are unknown, or its picture
    /// numbering (H.264 `frame_num`, H.265 picture order count) does not follow the sample before.
    std::uint32_t discontinuity;
    /// H.264: 1 for a frame, 0 for a field. H.265: always 0.
    std::uint32_t isFramePicture;
    /// H.264: 1 for an IDR or I slice; H.265: 1 for `nal_unit_type` 16 to 21.
    std::uint32_t intraPicture;
};

/// Parameter sets found in a frame. Written by GetParameterSetData(). Each pointer is null and its size 0
/// when there is no such NAL unit; the bytes begin with the start code.
struct ParameterSetData {
    const std::uint8_t* vpsData; ///< always null: no operation fills it
    std::uint32_t vpsSize;       ///< bytes at `vpsData`
    const std::uint8_t* spsData; ///< the frame's last sequence parameter set
    std::uint32_t spsSize;       ///< bytes at `spsData`
    const std::uint8_t* ppsData; ///< the frame's last picture parameter set
    std::uint32_t ppsSize;       ///< bytes at `ppsData`
};

/// Makes a parsing handle.
///
/// \param handle          receives the handle, or null on failure
/// \param codecType       what the handle reads
/// \param queueCount      access units held at a time; 0 selects 6. Two are the useful least: with one, the
///                        bytes of a completed access unit are intact only after a flush
/// \param queueBufferSize bytes set aside for each of them, grown on demand; 0 selects 100000
/// \return 0; -1 for a null `handle`, an unknown codec (`*handle` is null then), or lack of memory
NALSMITH_API std::int64_t ParseCreate(void** handle, VideoCodecType codecType, std::uint32_t queueCount,
                                      std::uint32_t queueBufferSize);

/// Releases a parsing handle and everything it handed out.
///
/// \param handle the handle, not used again
/// \return 0; -1 for a null handle and for a user-data handle, which is left alone
NALSMITH_API std::int64_t ParseRelease(void* handle);

/// Gives an H.264 parsing handle parameter sets from outside the stream (from a container, say). They take
/// the place of the retained ones: IDR access units without a sequence parameter set of their own are
/// handed out with them, and none is retained from the stream any more.
///
/// \param handle                  a parsing handle
/// \param sps,spsSize,pps,ppsSize one NAL unit each, with or without a start code, and its bytes; copied
/// \return 0; -1 for null or empty arguments, for a buffer that yields no parameter set, or for lack of
///         memory. On an H.265 handle: 0, nothing done
NALSMITH_API std::int64_t SetParameterSetData(void* handle, std::uint8_t* sps, std::uint32_t spsSize,
                                              std::uint8_t* pps, std::uint32_t ppsSize);

/// Finds the last sequence and the last picture parameter set of an H.264 frame. A parameter set NAL unit
/// of more than 1024 bytes is passed over.
///
/// \param handle          a parsing handle
/// \param frame,frameSize the frame and its bytes
/// \param result          receives pointers to copies, valid until the function's next call on the handle
/// \return 0, also when there is none; -1 for null or empty arguments or a frame without start code. On an
///         H.265 handle: 0, nothing done, `result` untouched
NALSMITH_API std::int64_t GetParameterSetData(void* handle, std::uint8_t* frame, std::uint32_t frameSize,
                                              ParameterSetData* result);

/// Reads the next piece of a stream and reports the last access unit that it completed.
///
/// An access unit is complete when the first slice of the next picture arrives, or at a flush. A piece holds
/// whole NAL units, any number of them. One call reports one access unit, the last: hand in one NAL unit a
/// call to see every one. A key access unit without a sequence parameter set of its own is completed with
/// the first parameter sets of the stream: H.264 behind its access unit delimiter, H.265 in front of it.
///
/// A slice whose parameter sets are unknown is dropped. A bare start code ends a piece. After a flush the
/// flushed access unit stays current and is handed out again at the next picture boundary: use a new handle
/// for another stream. Time is in proportion to the piece and, for every key access unit completed without a
/// sequence parameter set of its own, to the bytes of the retained parameter sets and of that access unit.
///
/// \param handle    a parsing handle
/// \param data,size the piece and its bytes, not in an access unit of the handle; null, or 0, is the flush
/// \param info      receives the description; zeroed first
/// \return 0; -1 for a null `info`, a piece without start code, a NAL unit with `forbidden_zero_bit` set (the
///         rest of the piece is not read), or lack of memory. `info` describes what was completed also then
NALSMITH_API std::int64_t ParseVideoParams(void* handle, const std::uint8_t* data, std::uint32_t size,
                                           VideoInfo* info);

/// Tests whether a sample continues the stream. Samples are tested in decoding order. Only the first slice
/// is judged; parameter sets in front of it are read and kept.
///
/// H.264: `frame_num` is compared (H.264 7.4.3) unless the stream allows gaps or the picture is an IDR
/// picture. H.265: the picture order count must be one more than that of the previous picture of the lowest
/// temporal layer that others may refer to (H.265 8.3.1), so reordered pictures are flagged as well.
///
/// The test shares parameter sets and slice history with ParseVideoParams() on the same handle: use a handle
/// of its own for testing.
///
/// \param handle    a parsing handle
/// \param data,size the sample and its bytes
/// \param info      receives the verdict; zeroed first. All zero for a sample without slice
/// \return 0; -1 for a null `info`, no start code, or unknown parameter sets of the slice (`discontinuity` is
///         1 then). H.265 also -1 for a NAL unit with `forbidden_zero_bit` set
NALSMITH_API std::int64_t VideoSampleTest(void* handle, const std::uint8_t* data, std::uint32_t size,
                                          VideoInfoEx* info);

/// Tells the picture type of an H.264 sample: the `slice_type` of its first slice of `nal_unit_type` 1 or 5.
/// Needs no parameter sets.
///
/// \param handle    a parsing handle
/// \param data,size the sample and its bytes
/// \param type      receives the type, or -1
/// \return 0; -1 when there is no such slice, and always on an H.265 handle
NALSMITH_API std::int64_t QueryType(void* handle, const std::uint8_t* data, std::uint32_t size,
                                    VideoPicType& type);

/// Starts a walk over the NAL units of an H.264 buffer. Any other function that reads a buffer on this handle
/// ends it.
///
/// \param handle    a parsing handle
/// \param data,size the buffer and its bytes; valid and unchanged for the walk
/// \return 0. On an H.265 handle: 0, nothing done
NALSMITH_API std::int64_t SetVideoData(void* handle, std::uint8_t* data, std::uint32_t size);

/// Hands out the next NAL unit of the walk. Parameter sets and slice headers met are read and kept.
///
/// \param handle          a parsing handle
/// \param nal             receives its address in the caller's buffer, start code included
/// \param nalSize         receives its size in bytes
/// \param isSlice         receives true for `nal_unit_type` 1, 2 and 5
/// \param sliceHeaderSize receives, for a slice, the bytes behind the NAL unit header, as stored, up to and
///                        including the one in which reading stopped (behind the picture order count
///                        syntax, or behind `pic_parameter_set_id` when the parameter sets are unknown),
///                        more than `nalSize` where `00 00 03` is missing; else 0
/// \return 0; -1 at the end, for a bare start code and for `forbidden_zero_bit` set (outputs null and 0; the
///         next call goes on behind it), and for a null output pointer. On an H.265 handle: 0, outputs
///         untouched
NALSMITH_API std::int64_t GetNalUnit(void* handle, std::uint8_t** nal, std::uint32_t* nalSize, bool* isSlice,
                                     std::uint32_t* sliceHeaderSize);

/// Splits an H.264 frame into its NAL units.
///
/// \param handle          a parsing handle
/// \param frame,frameSize the frame and its bytes
/// \param count           receives the number of NAL units
/// \param nals            receives a list of their addresses in `frame`, start codes included
/// \param sizes           receives a list of their sizes in bytes. Both lists are valid until the function's
///                        next call on the handle
/// \return 0, also for a null frame; -1 for a frame without start code, a null output pointer or lack of
///         memory. On an H.265 handle: 0, outputs untouched
NALSMITH_API std::int64_t GetNalFromFrame(void* handle, std::uint8_t* frame, std::uint32_t frameSize,
                                          std::uint32_t* count, std::uint8_t*** nals, std::uint32_t** sizes);

/// Makes a user-data handle.
///
/// \param handle    receives the handle, or null on failure
/// \param codecType the format of the frames
/// \return 0; -1 for a null `handle`, an unknown codec (`*handle` is null then), or lack of memory
NALSMITH_API std::int64_t UserDataCreate(void** handle, VideoCodecType codecType);

/// Releases a user-data handle and everything it handed out.
///
/// \param handle the handle, not used again
/// \return 0; -1 for a null handle and for a parsing handle, which is left alone
NALSMITH_API std::int64_t UserDataRelease(void* handle);

/// Puts user data into a frame, as an SEI message of type 5 (`user_data_unregistered`, H.264 D.2.7, H.265
/// D.3.7) under a UUID of this library's own. It becomes the last message of the first SEI NAL unit (H.265:
/// prefix SEI) that precedes the first slice, or a new SEI NAL unit directly before that slice.
///
/// \param handle           a user-data handle
/// \param frame,frameSize  one access unit and its bytes; not inside a result of AddUserData() or
///                         GetUserData() on the same handle. Bytes before its first start code are not copied
/// \param data,dataSize    the bytes to carry, any values, and their number; may be null when that is 0
/// \param outFrame,outSize receive the new frame and its bytes, valid until the next AddUserData() or
///                         GetUserData() on the handle
/// \return 0; -1 without outputs for an SEI NAL unit without stop byte, lack of memory or a bad argument; -1
///         with a plain copy for a frame that has neither SEI nor slice
NALSMITH_API std::int64_t AddUserData(void* handle, const std::uint8_t* frame, std::uint32_t frameSize,
                                      const std::uint8_t* data, std::uint32_t dataSize,
                                      const std::uint8_t** outFrame, std::uint32_t* outSize);

/// Finds the user data that AddUserData() put into a frame; the last one when there are several. User data of
/// no bytes has a pointer and size 0.
///
/// \param handle          a user-data handle
/// \param frame,frameSize one access unit and its bytes
/// \param outData,outSize receive the bytes and their number, or null and 0 when there are none; valid until
///                        the next AddUserData() or GetUserData() on the handle
/// \return 0, also when there is none; -1 for a frame without start code, lack of memory or a bad argument
NALSMITH_API std::int64_t GetUserData(void* handle, const std::uint8_t* frame, std::uint32_t frameSize,
                                      const std::uint8_t** outData, std::uint32_t* outSize);

/// Strips a frame of every SEI message of type 5, whoever wrote it. SEI NAL units (H.265: prefix SEI) that
/// keep other messages are written anew with a four-byte start code; those that keep none are left out; every
/// other NAL unit is copied as it is.
///
/// \param handle           a user-data handle
/// \param frame,frameSize  one access unit and its bytes; not inside a result of this function on the handle
/// \param outFrame,outSize receive the new frame and its bytes, valid until the next RemoveUserData() on the
///                         handle
/// \return 0; -1 for a frame without start code, lack of memory or a bad argument
NALSMITH_API std::int64_t RemoveUserData(void* handle, const std::uint8_t* frame, std::uint32_t frameSize,
                                         const std::uint8_t** outFrame, std::uint32_t* outSize);

// Compiled programs count on these widths and places, with pointers of any size.
#define NALSMITH_AT(field) (offsetof(VideoInfo, field) - 2 * sizeof(void*))
static_assert(sizeof(VideoCodecType) == 4 && sizeof(VideoPicType) == 4);
static_assert(sizeof(VideoInfo) == 56 + 2 * sizeof(void*) && offsetof(VideoInfo, sequenceInfoValid) == 4 &&
              offsetof(VideoInfo, keyFrame) == 8 && offsetof(VideoInfo, frameData) == 8 + sizeof(void*) &&
              NALSMITH_AT(frameSize) == 8 && NALSMITH_AT(width) == 12 && NALSMITH_AT(height) == 16 &&
              NALSMITH_AT(frameRateNum) == 20 && NALSMITH_AT(frameRateDen) == 24 &&
              NALSMITH_AT(video_signal_type_present_flag) == 28 && NALSMITH_AT(video_format) == 32 &&
              NALSMITH_AT(video_full_range_flag) == 36 &&
              NALSMITH_AT(colour_description_present_flag) == 40 && NALSMITH_AT(colour_primaries) == 44 &&
              NALSMITH_AT(transfer_characteristics) == 48 && NALSMITH_AT(matrix_coefficients) == 52);
#undef NALSMITH_AT
#define NALSMITH_AT(field) (offsetof(ParameterSetData, field) / sizeof(void*))
static_assert(sizeof(ParameterSetData) == 6 * sizeof(void*) && NALSMITH_AT(vpsSize) == 1 &&
              NALSMITH_AT(spsData) == 2 && NALSMITH_AT(spsSize) == 3 && NALSMITH_AT(ppsData) == 4 &&
              NALSMITH_AT(ppsSize) == 5);
#undef NALSMITH_AT
static_assert(sizeof(VideoInfoEx) == 12 && offsetof(VideoInfoEx, intraPicture) == 8);
static_assert(offsetof(VideoInfoEx, isFramePicture) == 4);

#endif // NALSMITH_NALSMITH_H
