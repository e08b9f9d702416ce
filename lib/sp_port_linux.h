// The door to the service processor's two I/O ports, one for data and one for status.
#pragma once

namespace kestrel {

/// Obtains access to the ports; false without the right to it, or where there are no such ports.
/// Nothing else here may be called before.
bool sp_open_ports();
/// Gives the access back.
void sp_close_ports();

/// One byte of a port, as it is, without waiting; FF where there are no such ports.
unsigned char sp_read_data();
void sp_write_data(unsigned char byte);
unsigned char sp_read_status();

}  // namespace kestrel
