// What a host asks of a read (the files, the format, the settings) and what the host
// layer settles before the read starts: the format, the settings' base, the sheets on
// offer. Failures come back as text for the host to show its own way.
#pragma once

#include <string>
#include <vector>

#include "framework/host/SheetOffer.h"

namespace zmhost {

struct ReadRequest {
    std::vector<std::string> files;
    std::string format;       // a format's name or 1-based index; empty: chosen by content
    std::string optionsFile;  // a settings document; empty for none
    SettingPairs settings;    // settings keys and values, in the order given
    bool keepText = false;    // texts stay texts, never typed
};

// Why a step failed: the text to show (it names the file where one is to blame), and
// whether the request itself was wrong (an unknown format, writer or encoding) rather
// than a file.
struct Failure {
    std::string text;
    bool badRequest = false;
    explicit operator bool() const { return !text.empty(); }
};

// The format named by the request, or else chosen by the files' content: its 1-based
// index, or 0 with `failure` set.
int FormatFor(const ReadRequest& request, Failure& failure);

// The settings (XML) the format's reader uses for `file` by default, "" when it has none;
// false when what the reader wrote cannot be decoded. `opened` tells whether the reader
// opened the file, `openError` its text when not.
bool DefaultOptionsXml(int index, const std::string& file, std::string& xml, bool& opened,
                       std::string& openError);

// What the request's settings go into: the reader's own defaults when no options file is
// given (so that the keys not set keep their defaults), else "".
std::string SetBase(const ReadRequest& request, int index);

// What a read settles before it starts: the settings' base, and the sheets on offer.
struct ReadPlan {
    std::string base;      // what the settings go into (see SetBase)
    std::string warning;   // the settings keys the format does not read; "" when none
    bool offered = false;  // the file offers sheets (matrices, blocks) to choose from
    bool chosen = false;   // the settings choose among them
    // The offer is not looked for before the read: the read's own reader tells it (see
    // OfferOfOpened), as nothing before the read needs it.
    bool offerAfterRead = false;
    SheetOffer offer;
};

// Checks a read's settings against the format before it starts: a key the format does
// not read gives the plan's warning; false, with `failure` set, when a value does not
// parse or names a sheet the file lacks. With `offerMayWait`, a request that sets
// nothing, of a reader that tells its offer itself, leaves the offer to the read.
bool PlanRead(const ReadRequest& request, int index, ReadPlan& plan, Failure& failure,
              bool offerMayWait = false);

}  // namespace zmhost
