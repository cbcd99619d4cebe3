#pragma once

namespace Agent {

/// Has net-snmp's access control (vacm_conf.c, RFC 3415) asked once of a request, with the same
/// answers. To be called once, after init_snmp().
///
/// net-snmp looks up who asks, in a list of all communities, when a request comes in, and again,
/// with what that one may see, for every varbind of the answer; though all of them come from one
/// manager and nearly all lie below the root of the connectivity monitor's tables. Instead, what is
/// below that root is asked for as a whole when the request comes in. Where all of it may be read,
/// its varbinds there are not asked for any more; a view that hides a part of it leaves everything
/// as it was.
void askOncePerRequest();

/// net-snmp asks twice whether a GETNEXT may read: of the subtree where it begins to look, so as
/// not to walk through what is hidden, and of each row it finds, which alone decides. Where views
/// hide no rows, as those of allowLocalReading() do not, the first costs more than it saves: this
/// ends it. To be called after init_snmp().
void askOnlyOfAnswers();

}  // namespace Agent
