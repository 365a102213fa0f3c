#!/usr/bin/env python3
"""A device in another language: it answers each command with the command itself, over TCP and UDP on this machine.

The formats are those of docs/wire_format.md. Needs the Python standard library only.
"""
import argparse
import socketserver
import threading

HEAD_SIZE, CRC_SIZE, MAX_PAYLOAD = 7, 2, 65535
LONGEST_STRETCH = 65803  # bytes between two zeros that can be a frame


def crc_of(data):
    value = 0xFFFF
    for byte in data:
        value ^= byte
        for _ in range(8):
            value = value >> 1 ^ (0x8408 if value & 1 else 0)
    return value ^ 0xFFFF


def bytes_of(head, payload):
    return head + payload + crc_of(head + payload).to_bytes(CRC_SIZE, "little")


def record_of(data):
    """Head and payload; None when the bytes are no record."""
    checked, check = data[:-CRC_SIZE], data[-CRC_SIZE:]
    if not HEAD_SIZE <= len(checked) <= HEAD_SIZE + MAX_PAYLOAD or crc_of(checked) != int.from_bytes(check, "little"):
        return None
    return checked[:HEAD_SIZE], checked[HEAD_SIZE:]


def stuffed(plain):
    blocks = bytearray()
    for run in plain.split(b"\0"):
        while len(run) >= 254:
            blocks += b"\xff" + run[:254]
            run = run[254:]
        blocks += bytes([len(run) + 1]) + run
    return bytes(blocks)


def unstuffed(stretch):
    """The plain bytes; None when a block reaches beyond the end."""
    plain, at = bytearray(), 0
    while at < len(stretch):
        size = stretch[at]
        plain += stretch[at + 1:at + size]
        at += size
        if size < 255 and at < len(stretch):
            plain.append(0)
    return bytes(plain) if at == len(stretch) else None


class Connection(socketserver.BaseRequestHandler):
    def handle(self):
        waiting = b""
        while received := self.request.recv(65536):
            *stretches, waiting = (waiting + received).split(b"\0")
            waiting = waiting[:LONGEST_STRETCH + 1]  # a longer one is no frame: the byte more says so
            for stretch in stretches:
                plain = unstuffed(stretch) if 0 < len(stretch) <= LONGEST_STRETCH else None
                if plain and (record := record_of(plain)):
                    self.request.sendall(stuffed(bytes_of(*record)) + b"\0")


class Datagram(socketserver.BaseRequestHandler):
    def handle(self):
        received, server_socket = self.request
        if record := record_of(received):
            server_socket.sendto(bytes_of(*record), self.client_address)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--port", type=int, default=0, help="of both servers; 0, the default, takes two free ones")
    address = ("127.0.0.1", parser.parse_args().port)
    socketserver.TCPServer.allow_reuse_address = True
    socketserver.UDPServer.max_packet_size = 65536
    try:
        tcp = socketserver.ThreadingTCPServer(address, Connection)
        udp = socketserver.UDPServer(address, Datagram)
    except (OSError, OverflowError) as error:
        parser.error(f"cannot listen at port {address[1]}: {error}")
    threading.Thread(target=udp.serve_forever, daemon=True).start()
    for scheme, server in ("tcp", tcp), ("udp", udp):
        print(f"listening on {scheme}://127.0.0.1:{server.server_address[1]}", flush=True)
    tcp.serve_forever()


if __name__ == "__main__":
    main()
