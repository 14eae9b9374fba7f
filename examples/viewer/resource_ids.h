// The ids of the resources and commands.

#pragma once

#define IDR_MENU 1
#define IDR_KEYS 2
#define IDD_GOTO 3
#define IDC_GOTO_TEXT 100

#define ID_OPEN 200
#define ID_EXIT 201
#define ID_AUTOMATIC 202  // The backends are in the order of the type Backend.
#define ID_VIDEO_FOR_WINDOWS 203
#define ID_DIRECT_SHOW 204

#define FIRST_ID_OF_OPEN_FILE 210
#define ID_NEXT 210
#define ID_PREVIOUS 211
#define ID_FORWARD 212
#define ID_BACK 213
#define ID_FIRST 214
#define ID_LAST 215
#define ID_GOTO 216

#define FIRST_ID_OF_VIDEO 220
#define ID_NEXT_KEY 220
#define ID_PREVIOUS_KEY 221
#define ID_SAVE_FRAME 222
#define ID_COPY_FRAME 223
#define ID_TUNE 224
#define LAST_ID_OF_VIDEO 224
