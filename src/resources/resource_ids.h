// Ids of the library's resources, shared by the resource scripts and the code.

#pragma once

// First string of each block of messages. A backend's message of code c is its first string + c; so the codes of the
// output files, which begin with 200, have theirs 200 further on.
#define IDS_DIRECTSHOW_ERRORS 100
#define IDS_DIRECTSHOW_OUTPUT_ERRORS 300
#define IDS_VFW_ERRORS 500
#define IDS_VFW_OUTPUT_ERRORS 700
#define IDS_MEDIA_CONTAINER_ERRORS 900

// Dialogs, and what stands in them.
#define IDD_INTERLEAVING_PERIOD 7
#define IDC_PERIOD 101

#define IDD_AUDIO_COMPRESSOR 2
#define IDC_AUDIO_FORMATS 101
#define IDC_PRESENT_FORMAT 102
#define IDC_SET_FORMAT 103
#define IDC_NEW_FORMAT 104

#define IDD_AUDIO_FORMAT 3
#define IDC_CHANNELS 101
#define IDC_BITS_PER_SAMPLE 102
#define IDC_FREQUENCY 103

#define IDD_VIDEO_COMPRESSOR 4
#define IDC_KEY_FRAME_RATE 101
#define IDC_P_FRAMES 102
#define IDC_QUALITY 103
#define IDC_DEFAULT_QUALITY 104
#define IDC_QUALITY_VALUE 105
#define IDC_WINDOW_SIZE 106
#define IDC_DEFAULT_KEY_FRAME_RATE 107
#define IDC_DEFAULT_P_FRAMES 108
#define IDC_FURTHER_CONFIGURATION 109
#define IDC_BIT_RATE 110

#define IDD_COMPRESSOR 1
#define IDC_COMPRESSORS 101

#define IDD_VIDEO_SOURCE_TUNING 5
#define IDD_AUDIO_SOURCE_TUNING 6
#define IDC_QUICK_DECODE 101
#define IDC_GROWTH_RATIO 102
#define IDC_STEP_BACK 103

#define IDD_PROGRESS 8
#define IDD_CAPTIONED_PROGRESS 9
#define IDC_OPERATION 101
#define IDC_PROGRESS 102
#define IDC_STREAM_ICON 103
#define IDC_ANIMATION 104

// Pictures.
#define IDR_PROGRESS_ANIMATION 1
#define IDI_AUDIO 2
#define IDI_RAW_DATA 3

#ifndef IDC_STATIC
#define IDC_STATIC (-1)
#endif
