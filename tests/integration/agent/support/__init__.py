"""What the agent's end-to-end tests stand on: processes, the feed, SNMP, and the rows to expect."""
