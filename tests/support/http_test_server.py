"""Loopback HTTP server for the HTTP-layer tests.

Prints its port on the first line of standard output, then serves until killed.
  /hello        200 "hello"          /empty   200 with no body
  /slow?ms=N    200 "slow" after N ms /auth    401 with a Basic challenge
  /missing      404 "not here"       POST /echo  the request as JSON
  /cut?status=N N announcing 100,000 bytes, 12 sent, then the connection closed
  /stall        200 announcing 100,000 bytes, 12 sent, then nothing more for a minute
  /trickle?ms=N 200 announcing 100,000 bytes, one byte every N ms (never idle for long)
  /cgi-bin/check_version_upgrades_slwin_new.cgi   the --update-reply text, for a well-formed query
                                                  (with --update-stall: as /stall)
  POST /corvane/desktop/getToken  the --token-reply text; the form it got printed to standard error
With --record FILE every POST's body is written to FILE as it came, and its path, User-Agent and
Content-Type printed to standard error ("post PATH AGENT TYPE").
With --always-407 it plays a proxy that refuses every request with a Basic challenge and
prints one line per attempt that carried credentials to standard error.
"""
import http.server
import json
import sys
import time
import urllib.parse

ALWAYS_407 = '--always-407' in sys.argv
UPDATE_STALL = '--update-stall' in sys.argv
TOKEN_REPLY = sys.argv[sys.argv.index('--token-reply') + 1].encode() if '--token-reply' in sys.argv else None
RECORD = sys.argv[sys.argv.index('--record') + 1] if '--record' in sys.argv else None
UPDATE_REPLY = sys.argv[sys.argv.index('--update-reply') + 1].encode() if '--update-reply' in sys.argv else None


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = 'HTTP/1.1'

    def log_message(self, *args):
        pass

    def reply(self, code, body=b'', headers=()):
        self.send_response(code)
        for name, value in headers:
            self.send_header(name, value)
        self.send_header('Content-Length', str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def refuse_as_proxy(self):
        if self.headers.get('Proxy-Authorization'):
            print('credentials', self.headers.get('Proxy-Authorization'), file=sys.stderr, flush=True)
        self.reply(407, b'proxy says no', [('Proxy-Authenticate', 'Basic realm="always"')])

    def do_POST(self):
        if ALWAYS_407:
            return self.refuse_as_proxy()
        length = int(self.headers.get('Content-Length', 0))
        body = self.rfile.read(length)
        if RECORD is not None:
            with open(RECORD, 'wb') as record:
                record.write(body)
            print('post', self.path, self.headers.get('User-Agent'), self.headers.get('Content-Type'),
                  file=sys.stderr, flush=True)
        if self.path == '/corvane/desktop/getToken' and TOKEN_REPLY is not None:
            print('token-request', body.decode('utf-8'), file=sys.stderr, flush=True)
            return self.reply(200, TOKEN_REPLY)
        echo = {'method': 'POST', 'path': self.path, 'contentType': self.headers.get('Content-Type'),
                'body': body.decode('utf-8')}
        self.reply(200, json.dumps(echo).encode(), [('Content-Type', 'application/json')])

    def do_GET(self):
        if ALWAYS_407:
            return self.refuse_as_proxy()
        url = urllib.parse.urlsplit(self.path)
        if url.path == '/hello':
            self.reply(200, b'hello')
        elif url.path == '/empty':
            self.reply(200, b'')
        elif url.path == '/slow':
            time.sleep(int(urllib.parse.parse_qs(url.query).get('ms', ['1000'])[0]) / 1000)
            self.reply(200, b'slow')
        elif url.path == '/cgi-bin/check_version_upgrades_slwin_new.cgi' and UPDATE_REPLY is not None:
            query = urllib.parse.parse_qs(url.query)
            known = query.get('appln') in (['CorvaneLumenMac'], ['StelloaLumenMac']) and query.get('version')
            self.reply(200 if known else 400, UPDATE_REPLY if known else b'bad query')
        elif url.path in ('/cut', '/stall') or (UPDATE_STALL and url.path.startswith('/cgi-bin/')):
            status = int(urllib.parse.parse_qs(url.query).get('status', ['200'])[0])
            self.send_response(status)
            self.send_header('Content-Length', '100000')
            self.end_headers()
            self.wfile.write(b'first twelve')
            self.wfile.flush()
            if url.path != '/cut':
                time.sleep(60)
            self.close_connection = True
        elif url.path == '/trickle':
            pause = int(urllib.parse.parse_qs(url.query).get('ms', ['100'])[0]) / 1000
            self.send_response(200)
            self.send_header('Content-Length', '100000')
            self.end_headers()
            try:
                for _ in range(100000):
                    self.wfile.write(b'.')
                    self.wfile.flush()
                    time.sleep(pause)
            except OSError:
                pass  # the client gave up
            self.close_connection = True
        elif url.path == '/auth':
            self.reply(401, b'who are you', [('WWW-Authenticate', 'Basic realm="server"')])
        else:
            self.reply(404, b'not here')


# Every local address, so that the machine's own name reaches it too.
server = http.server.ThreadingHTTPServer(('', 0), Handler)
server.daemon_threads = True
print(server.server_address[1], flush=True)
server.serve_forever()
