// Carries the precompiled header that the test files share.
