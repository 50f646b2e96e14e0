#pragma once

/// The switches of the check that the values below the machine's environment key specify. An absent value, 0, and a
/// value that cannot be read turn a switch off; any other number turns it on.
struct CheckSwitches
{
    /// No value out of a message affects the request, and an exchange that failed is not a verdict.
    bool hardenedScanning = false;
    /// A stored clean verdict counts only while the service judges by the signatures under which it was given.
    bool rescanOnNewSignatures = false;
};

/// Reads the switches from the registry. Logs one line for each switch that is on. Does not throw.
CheckSwitches ReadCheckSwitches();
