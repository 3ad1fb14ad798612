#pragma once

/// Marks what a shared library of this system shows to others. Everything is compiled with hidden visibility, so a
/// class or function without this mark stays inside its library.
#define ZELKOR_API __attribute__((visibility("default")))

/// Keeps an inline function of a shown class, and its static objects, private to each library that uses it.
#define ZELKOR_LOCAL __attribute__((visibility("hidden")))
