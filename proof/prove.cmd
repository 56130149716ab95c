@echo off
rem Runs all tests that this machine allows and writes proof.zip. See README.txt.
"%~dp0bin\proof.exe" %*
if "%~1"=="" pause
