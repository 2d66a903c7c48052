// A headless browser for looking at generated pages as a person would: the DOM after the
// page's scripts ran, and a screenshot.
//
// The browser is Chromium (Debian package `chromium`): $OC_CHROMIUM when set, else the first of
// /usr/bin/chromium, /usr/bin/chromium-browser found. Each run gets a new empty profile folder
// (removed afterwards) and the flags --headless --no-sandbox --disable-gpu --disable-quic
// --no-first-run --disable-background-networking --disable-component-update --disable-sync
// --hide-scrollbars --force-device-scale-factor=1, so it neither reaches the network nor
// keeps state between runs. Pages are loaded from files (file:// URLs).
#pragma once

#include <filesystem>
#include <string>

class xcHeadlessBrowser {
public:
    // Finds the browser; found() is false when there is none.
    xcHeadlessBrowser();

    bool found() const { return !m_path.empty(); }
    const std::string& path() const { return m_path; }

    // The serialised DOM of `page` once loaded and its scripts ran. Throws xcIOError when the
    // browser is missing or fails (its exit status and the end of its error output).
    std::string dumpDom(const std::filesystem::path& page) const;
    // A PNG screenshot of `page` in a window of width x height CSS pixels (one pixel each),
    // written to `png`; with a `fragment` ("rec-12") the page is opened scrolled to that
    // element. Errors as dumpDom, and xcIOError when no file appears.
    void screenshot(const std::filesystem::path& page, const std::filesystem::path& png, long width,
                    long height, const std::string& fragment = "") const;

private:
    // Runs the browser with `args` after the common flags; returns its standard output.
    std::string run_(const std::string& args) const;

    std::string m_path;
};
