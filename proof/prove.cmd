@echo off
rem Runs all tests that this machine allows and writes proof.zip. See README.txt.
if not exist "%~dp0bin\proof.exe" (
  echo Unpack the whole zip first, then start prove.cmd in the unpacked folder.
  if "%~1"=="" pause
  exit /b 2
)
"%~dp0bin\proof.exe" %*
if "%~1"=="" pause
