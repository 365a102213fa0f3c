show 'biz_console check "[ORLIXA2][2026-11-21 20:36:55 827]<f1 08 10 62 01>"'
