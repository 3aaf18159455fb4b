// SPDX-License-Identifier: GPL-3.0-or-later
// Decoder fuzzer for the companion's messages: any bytes either fail to decode or give a
// message that encodes to one line and decodes back to the same value, with a byte-stable
// encoding.
#include "bridge/WidgetMessage.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), qsizetype(size));
    const auto message = WidgetMessage::decode(input);
    if (!message)
        return 0;
    const auto encoded = message->encode(); // decoded doubles are always finite
    if (!encoded || encoded->contains('\n') || encoded->contains('\r'))
        abort();
    const auto again = WidgetMessage::decode(*encoded);
    if (!again || !(*again == *message) || again->encode() != encoded)
        abort();
    return 0;
}
