"""Local stand-ins for the Kestrel and Harrier services, with a phone simulator.

Modules by concern:

- ``wire``     JSON text form, signed envelopes, bearer flattening, HTTP dates
- ``pki``      sandbox certification authorities, ICP-Brasil-like certificates,
               signature checks and signatures made with phone / wallet keys
- ``seed``     the catalogue, identities, phones and cloud accounts of a fresh sandbox
- ``state``    the in-memory service state, its locking and its JSON persistence
- ``kestrel``  handlers of the Kestrel desktop calls
- ``harrier``  handlers of the Harrier calls
- ``phone``    the phone page and its small JSON feed
- ``admin``    the JSON admin interface used by tests and demos
- ``httpcore`` the HTTP(S) server, routing and fault injection
- ``server``   bootstrap: command line, ports, config and ready files, signals
"""
