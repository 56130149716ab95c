/**
 * Rules for a test on a machine that others use: it changes only keys and files that it made itself.
 *
 * A machine is in use unless the environment has KESTRELBAY_DISPOSABLE_MACHINE=1, which
 * scripts/run-under-wine sets. So a test program that somebody starts by a double click does no harm.
 */
#pragma once

#include <string>

#include "TestMachine.h"

namespace tests {

/**
 * Throws NotOnThisMachine if an application is installed whose name a test gives to the library, because the
 * library would then install, start or remove that application.
 */
void CheckNamesOfTests(TestMachine& machine);

/**
 * Throws NotOnThisMachine if the apps folder has an item that a test would start, because the library starts
 * an item whose name is a part of the name that a host gives it.
 */
void CheckAppsFolder();

/** Whether a key only holds keys of many applications, so that a test may add a key of its own below it. */
bool IsContainer(const std::u16string& path);

/** Whether a key is a container or above one, so that a path of a test may lead through it. */
bool IsWay(const std::u16string& path);

/** The key of the user who runs this program, below HKEY_USERS. */
std::u16string OwnHive();

/**
 * Whether this process has administrator rights, so that Windows asks nobody when a program is started with
 * them. KESTRELBAY_WITHOUT_RIGHTS=1 makes an administrator's run leave out what needs the rights.
 */
bool IsElevated();

}  // namespace tests
