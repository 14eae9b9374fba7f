#pragma once

/// @file
/// Everything that the Quillet library exports; the only header that a client needs to include.

#include <quillet/audio_or_video_stream.h>
#include <quillet/audio_source_stream.h>
#include <quillet/automatic_interleave_engine.h>
#include <quillet/dialog_options.h>
#include <quillet/ds_audio_or_video_stream.h>
#include <quillet/ds_audio_source_stream.h>
#include <quillet/ds_output_avi_file.h>
#include <quillet/ds_raw_data_source_stream.h>
#include <quillet/ds_source_stream.h>
#include <quillet/ds_video_source_stream.h>
#include <quillet/error_codes.h>
#include <quillet/media_container.h>
#include <quillet/notification.h>
#include <quillet/output_avi_file.h>
#include <quillet/owned.h>
#include <quillet/platform_formats.h>
#include <quillet/raw_data_source_stream.h>
#include <quillet/source_stream.h>
#include <quillet/thread.h>
#include <quillet/version.h>
#include <quillet/vfw_audio_or_video_stream.h>
#include <quillet/vfw_audio_source_stream.h>
#include <quillet/vfw_output_avi_file.h>
#include <quillet/vfw_raw_data_source_stream.h>
#include <quillet/vfw_source_stream.h>
#include <quillet/vfw_video_source_stream.h>
#include <quillet/video_source_stream.h>
