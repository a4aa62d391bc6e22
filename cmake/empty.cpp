// Keeps the test-support archive valid while it has no sources of its own.
