#!/usr/bin/env python3
"""https-server.py CERTIFICATE KEY BEHAVIOUR [ARGUMENT]

A web server on loopback that behaves as it is told, for one kind of reply. Prints its port, and then one line for each
connection ("connection") and each request (the request line). Ends when its standard input does.
"""
import os
import socket
import ssl
import sys
import threading

certificate, key, behaviour = sys.argv[1:4]
argument = sys.argv[4] if len(sys.argv) > 4 else ""
forever = threading.Event()


def say(line):
    print(line, flush=True)


def page(body, status="200 OK", headers=()):
    lines = [f"HTTP/1.1 {status}", f"Content-Length: {len(body)}", "Connection: close", *headers, "", ""]
    return "\r\n".join(lines).encode() + body


def read_request(connection):
    received = b""
    while b"\r\n\r\n" not in received:
        more = connection.recv(4096)
        if not more:
            return
        received += more
    say(received.split(b"\r\n")[0].decode("latin-1"))


def pour(connection, piece):
    while True:
        connection.sendall(piece)


def answer(connection):
    if behaviour == "text":
        connection.sendall(page(argument.encode("utf-8", "surrogateescape")))
    elif behaviour == "not-found":
        connection.sendall(page(argument.encode(), "404 Not Found"))
    elif behaviour == "redirect":
        connection.sendall(page(b"Moved.", "302 Found", [f"Location: {argument}"]))
    elif behaviour == "large":
        connection.sendall(page(b"x" * int(argument)))
    elif behaviour == "endless":
        connection.sendall(b"HTTP/1.1 200 OK\r\n\r\n")
        pour(connection, b"2.4.1" * 1000)
    elif behaviour == "endless-headers":
        connection.sendall(b"HTTP/1.1 200 OK\r\n")
        pour(connection, b"X-More: 2.4.1\r\n" * 100)
    elif behaviour == "silent":
        forever.wait()
    elif behaviour == "drip":
        connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\n2.4")
        forever.wait()
    elif behaviour == "cut-off":
        connection.sendall(b"HTTP/1.1 200 OK\r\nContent-Length: 500\r\n\r\n2.4.1")
    elif behaviour == "hang-up":
        pass
    elif behaviour == "no-http":
        connection.sendall(b"2.4.1\n")


def serve(connection):
    say("connection")
    try:
        if behaviour == "reset":
            # Away in the middle of the greeting, without a word.
            connection.recv(1)
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")
            connection.close()
            return
        if behaviour == "plain":
            read_request(connection)
            connection.sendall(page(argument.encode()))
            connection.close()
            return
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate, key)
        with context.wrap_socket(connection, server_side=True) as encrypted:
            read_request(encrypted)
            answer(encrypted)
    except OSError:
        pass


listener = socket.create_server(("127.0.0.1", 0))
say(listener.getsockname()[1])


def listen():
    while True:
        threading.Thread(target=serve, args=(listener.accept()[0],), daemon=True).start()


threading.Thread(target=listen, daemon=True).start()
sys.stdin.read()
os._exit(0)
