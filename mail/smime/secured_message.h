#pragma once

#include "store/message_object.h"

namespace host {

/// The contents of the one attachment that an S/MIME message has; null when it has another form.
bytes_ptr envelope_of(const message_record& message);

/// True for an S/MIME enveloped message: its class says S/MIME, and its one attachment is an envelope, damaged or not.
/// A signed message isn't one, nor is a message that gave up its encrypted form.
bool is_enveloped(const message_record& message);

/// What an enveloped message shows its reader: the bodies and attachments of `inner`, which was inside, under the
/// envelope's own subject, sender, recipients and identifiers. Both are of the same store.
message_record shown_contents(const message_record& enveloped, const message_record& inner);

/// The object that a mail client gives out for an enveloped message: it shows `contents` (null: neither body nor
/// attachments, but the envelope's other properties), answers ISecuredMessage, and has `base` behind it. The contents
/// are only shown: its SaveChanges answers MAPI_E_NO_ACCESS, that of `base` reaches the store.
ComPtr<message_object> wrap_enveloped(ComPtr<message_object> base, const message_record* contents);

/// What is to be kept of a message that has been worked on: a message that gave up its encrypted form by a change of
/// its class also loses the header line that calls it enveloped.
message_record settled(const message_record& message);

} // namespace host
