#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The OndraVexa authors
# SPDX-License-Identifier: BSD-3-Clause
"""Stands in for the geolocation web service: knows one API key and one place. Prints its port."""

import json
import sys
from http.server import BaseHTTPRequestHandler, HTTPServer
from urllib.parse import parse_qs, urlsplit

API_KEY = sys.argv[1]
LATITUDE, LONGITUDE = float(sys.argv[2]), float(sys.argv[3])


class Handler(BaseHTTPRequestHandler):
    def do_POST(self):
        self.rfile.read(int(self.headers["Content-Length"]))
        is_known = parse_qs(urlsplit(self.path).query).get("key") == [API_KEY]
        place = {"latitude": LATITUDE, "longitude": LONGITUDE, "accuracy": 40}
        body = json.dumps({"location": place}).encode() if is_known else b"{}"
        self.send_response(200 if is_known else 405)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)


server = HTTPServer(("127.0.0.1", 0), Handler)
print(server.server_port, flush=True)
server.serve_forever()
