// ocarrange's embedded default: a scene rendered from DejaVu Sans Mono with a turned straight
// line and a circular line of text, arranged as one target of two lines; prints the table and
// writes the report page to ocarrange-report/.
#pragma once

// Returns the exit code (0 when every position is matched).
int xfRunDemo(bool quiet, const char* reportFolder = "ocarrange-report");
