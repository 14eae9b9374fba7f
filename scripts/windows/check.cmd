@echo off
rem Runs the tests, the benchmarks and the damaged files of both widths on this machine, and leaves what came of it in the
rem folder "report" beside this file: summary.txt first. The status is 0 when all have passed.
rem
rem   check.cmd [WIDTH [KIND]]    for example: check.cmd x86_64 test
rem
rem WIDTH is i686, x86_64 or all; KIND is test, benchmark or fuzz. Nothing is installed. The tests keep their files in the
rem temporary folder, and remove them, and register some filters while they run: from a prompt without an administrator's
rem rights those that need them fail (Choosing.* of ds_dialogs_test).

setlocal
rem No program of the same name, and no DLL, from elsewhere.
set "PATH=%SystemRoot%\System32;%SystemRoot%"
pushd "%~dp0"
if exist report rmdir /s /q report
mkdir report
if not exist report exit /b 2

set widths=i686 x86_64
if "%PROCESSOR_ARCHITECTURE%"=="x86" if not defined PROCESSOR_ARCHITEW6432 set widths=i686
if not "%~1"=="" if not "%~1"=="all" set "widths=%~1"
set "kinds=%~2"
set programs=0
set failures=0

call :describe >report\system.txt 2>&1
type report\system.txt >report\summary.txt
for %%w in (%widths%) do call :width %%w
set "line=%programs% programs run, %failures% of them not passed"
>>report\summary.txt echo.
call :tell
popd
if not %failures%==0 exit /b 1
if %programs%==0 exit /b 1
exit /b 0

rem Runs the programs of a width. A line: kind, name, seconds, variable of the environment or "-", program and arguments.
:width
set "width=%1"
mkdir report\%1
for /f "tokens=1-4,*" %%a in (%1\programs.txt) do call :run %%a %%b %%c "%%d" "%%e"
type %1\left-out.txt >>report\summary.txt
exit /b 0

rem Runs one program, and tells its verdict.
:run
if not "%kinds%"=="" if not "%kinds%"=="%1" exit /b 0
set "log=report\%width%\%2.txt"
setlocal
if not "%~4"=="-" set "%~4"
if "%1"=="test" set "GTEST_OUTPUT=xml:%cd%\report\%width%\%2.xml"
%width%\bin\run_limited.exe %3 %width%\bin\%~5 >"%log%" 2>&1 <nul
endlocal & set "status=%errorlevel%"
set "verdict=passed"
if not "%status%"=="0" set "verdict=FAILED with status %status%"
if "%status%"=="124" set "verdict=NOT ENDED within %3 s"
if not "%status%"=="0" set /a failures+=1
set /a programs+=1
set "line=%width% %2: %verdict%"
call :tell
rem Of tests the numbers and the names of those that failed, of all else what it has printed.
if not "%1"=="test" type "%log%" >>report\summary.txt
if "%1"=="test" find "[  PASSED  ]" <"%log%" >>report\summary.txt
if "%1"=="test" find "[  SKIPPED ]" <"%log%" >>report\summary.txt
if "%1"=="test" find "[  FAILED  ]" <"%log%" >>report\summary.txt
exit /b 0

:tell
echo %line%
>>report\summary.txt echo %line%
exit /b 0

rem What there is that reads and writes media, and what tests may fail without.
:describe
ver
for %%v in (ProductName DisplayVersion CurrentBuildNumber UBR) do (
  reg query "HKLM\SOFTWARE\Microsoft\Windows NT\CurrentVersion" /v %%v 2>nul | find "REG_"
)
echo Processor: %PROCESSOR_IDENTIFIER%, %NUMBER_OF_PROCESSORS% of them
whoami /groups 2>nul | find "S-1-16-12288" >nul && echo With an administrator's rights
for %%b in (32 64) do (
  echo.
  echo %%b bits: drivers of Video for Windows and the Audio Compression Manager
  reg query "HKLM\SOFTWARE\Microsoft\Windows NT\CurrentVersion\Drivers32" /reg:%%b 2>nul | find "REG_"
  echo %%b bits: filters of DirectShow, and objects that it takes for filters
  reg query "HKCR\CLSID\{083863F1-70DE-11D0-BD40-00A0C911CE86}\Instance" /s /v FriendlyName /reg:%%b 2>nul | find "REG_"
  reg query "HKCR\DirectShow\MediaObjects" /s /ve /reg:%%b 2>nul | find "REG_"
)
echo.
exit /b 0
