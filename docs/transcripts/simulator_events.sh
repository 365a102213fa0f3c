cp "$tree/docs/transcripts/session.json" .
show_simulator 'biz_simulator --model A2 --port 15700 --fault F1/08=shortPayload --events' \
    'biz_console run session.json --device tcp://127.0.0.1:15700' | elide 7 1
