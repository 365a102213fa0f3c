# The log of the session that console_run shows.
cp "$tree/docs/transcripts/session.json" .
simulate 'biz_simulator --model A2 --port 15700 --fault F1/08=shortPayload' >"$control/unseen"
run_shown "$(to_real 'biz_console run session.json --device tcp://127.0.0.1:15700')" >"$control/unseen"
show "biz_console log Errorlog/$(date +%Y%m%d).log"
