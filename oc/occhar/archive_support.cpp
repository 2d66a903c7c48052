#include "oc/occhar/archive_support.h"

xcArchive::UnknownVersion xf_OCCharUnknownVersion(long number) {
    return xcArchive::UnknownVersion(std::string("oc/occhar"), number);
}
