#pragma once

namespace Agent {

/// Has net-snmp's access control (vacm_conf.c, RFC 3415) asked once of a request, with the same
/// answers. To be called once, after init_snmp(). Throws StartError.
///
/// net-snmp looks up who asks, for SNMPv1 and v2c in a list of all communities, when a request
/// comes in, and again, with what that one may see, for every varbind; though all of them come from
/// one manager and nearly all lie below the root of the connectivity monitor's tables. Instead,
/// what is below that root is asked for as a whole when the request comes in. Where the request may
/// have all of it, varbinds there are not asked for any more; a view that hides a part of it leaves
/// everything as it was.
///
/// `viewsMayHide`: whether there may be views that hide rows. Of a GETNEXT, net-snmp asks twice: of
/// the subtree where it begins to look, so as not to walk through what is hidden, and of each row
/// it finds, which alone decides. Without such views the first costs more than it saves, and is not
/// asked at all.
void askOncePerRequest(bool viewsMayHide);

}  // namespace Agent
