// SPDX-License-Identifier: MIT
#ifndef VORN_EXPORT_H
#define VORN_EXPORT_H

/// Marks what a shared library of Vorn offers. All else in it is hidden, so
/// that it can neither clash with a host's names nor be relied upon.
///
/// On ELF one definition serves the library and its users, for a static
/// library too.
#if defined(__GNUC__)
#define VORN_EXPORT __attribute__((visibility("default")))
#else
#define VORN_EXPORT
#endif

#endif  // VORN_EXPORT_H
