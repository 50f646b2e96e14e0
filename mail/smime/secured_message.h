#pragma once

#include "store/message_object.h"

namespace host {

/// Returns the contents of the only attachment of an S/MIME message; null if the message has another form.
bytes_ptr envelope_of(const message_record& message);

/// Returns true for an S/MIME enveloped message: its class is an S/MIME class, and its only attachment is an envelope,
/// damaged or not. A signed message is not enveloped, nor is a message that has lost its encrypted form.
bool is_enveloped(const message_record& message);

/// Returns the displayed form of an enveloped message: the bodies and attachments of `inner`, its decrypted contents,
/// with the subject, sender, recipients and identifiers of the envelope. Both records must belong to the same store.
message_record shown_contents(const message_record& enveloped, const message_record& inner);

/// Creates the object that a mail client provides for an enveloped message: it presents `contents` (null: neither body
/// nor attachments, but the envelope's other properties), implements ISecuredMessage, and has `base` as its base
/// message. The contents are read-only: SaveChanges of the wrapper returns MAPI_E_NO_ACCESS, SaveChanges of `base`
/// updates the store.
ComPtr<message_object> wrap_enveloped(ComPtr<message_object> base, const message_record* contents);

/// Returns the final form of a message that has been processed: a message that has lost its encrypted form by a change
/// of its class also loses the header line that declares it as enveloped. The properties of `message` itself are not
/// changed, and shared with the result if nothing is lost.
message_record settled(message_record message);

} // namespace host
