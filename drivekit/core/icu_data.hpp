#pragma once
// ICU's locale and time-zone data, found when first needed. A program that links ICU's
// code without its data (the command line) hands the system's data to ICU through a
// loader; most of its runs format in plain English and never need the data, so the loader
// runs on the first use of ICU's data instead of at start.
namespace drivekit::ICUData {

/// The loader, set before any thread starts; without one, ICU finds its data itself.
void setLoader(void (*load)());
/// Runs the loader once. Every use of ICU's locale or time-zone data calls this first.
void ensure();

}  // namespace drivekit::ICUData
