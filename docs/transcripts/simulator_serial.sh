# varies: /dev/pts/[0-9]+
cp "$tree/docs/transcripts/session.json" .
show_simulator 'biz_simulator --model A2 --listen serial: --fault F1/08=shortPayload --fault 3=splitFrames --fault 4=junk --events' \
    "biz_console run session.json --device \$(sed -n 's/^listening on //p' $control/simulator.foreground)"
