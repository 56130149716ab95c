@echo off
rem Runs all tests that this machine allows and writes proof.zip. README.txt says what it does.
"%~dp0bin\proof.exe" %*
if "%~1"=="" pause
